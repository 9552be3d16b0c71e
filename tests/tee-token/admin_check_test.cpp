// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <functional>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

const char kMakeCertificates[] = R"(
  authority() { openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout $1.key -out $1.pem \
    -subj /CN=$1; }
  issue() { openssl x509 -req -in device.csr -CA ca.pem -CAkey ca.key -days 30 -out $1.pem $2 $3; }
  authority ca; authority other; authority device; openssl x509 -in ca.pem -outform DER -out ca.der
  for name in device other; do openssl req -new -key device.key -subj /CN=$name -out $name.csr; done
  printf 'basicConstraints=CA:false\nextendedKeyUsage=clientAuth' > client.ext
  echo extendedKeyUsage=serverAuth > server.ext
  issue leaf -extfile client.ext; issue server -extfile server.ext; issue version1
  openssl x509 -in leaf.pem -outform DER -out leaf.der; cat ca.pem leaf.pem > reversed.pem
  cat leaf.pem ca.pem > right.pem; cat leaf.pem other.pem > gap.pem; cat right.pem device.csr > mixed.pem)";

/// tee-token's checks on a token whose objects the test makes itself, with certificates in the current
/// folder.
class CheckTest : public TokenTest {
 protected:
  CheckTest() {
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(::chdir(m_files.path().c_str()), 0);
    EXPECT_EQ(shell(kMakeCertificates).code, 0);
  }
  ~CheckTest() override { EXPECT_EQ(::chdir("/"), 0); }

  static Template marks() {
    Template marks =
        Template().text(TEE_CKA_VENDOR_CLIENT_ID, "CCI_CLIENT").text(TEE_CKA_VENDOR_KEY_ID, "LYR");
    return marks.flag(TEE_CKA_VENDOR_PERMANENT, false).add(CKA_LABEL, {10, 100, 0, 0, 0});
  }
  Handles generate_temporary() { return generate(marks()); }
  /// A certificate by ca for a key on the token, in token.der, and ca's behind it.
  std::string chain_for(CK_OBJECT_HANDLE key) {
    const Outcome outcome = admin("export " + std::to_string(key) +
                                  " > key.pub && openssl x509 -new -force_pubkey key.pub -subj /CN=device -CA"
                                  " ca.pem -CAkey ca.key -extfile client.ext -outform DER -out token.der &&"
                                  " cat token.der ca.der > chain.der");
    EXPECT_EQ(outcome.code, 0) << outcome.text;
    return content_of("chain.der");
  }
  CK_OBJECT_HANDLE store_chain(const std::string& chain) {
    Template object = marks().number(CKA_CERTIFICATE_TYPE, TEE_CKC_CERTIFICATE_CHAIN).text(CKA_VALUE, chain);
    CK_OBJECT_HANDLE handle = 0;
    EXPECT_EQ(create(object.number(CKA_CLASS, CKO_CERTIFICATE).flag(CKA_TOKEN, true), &handle), OK);
    return handle;
  }
  /// Installs a key pair and its chain, and removes the temporary objects.
  void install(Handles added, const std::string& chain) {
    added.push_back(store_chain(chain));
    EXPECT_EQ(TokenTest::install({}, added), OK);
    for (const CK_OBJECT_HANDLE object : added) EXPECT_EQ(destroy(object), OK);
  }
  void install() {
    const Handles pair = generate_temporary();
    install(pair, chain_for(pair[0]));
  }
  /// Adds a trust group, then destroys its object without its root.
  void leave_root() {
    EXPECT_EQ(admin("add-trust-group backend ca.pem" + m_officer).code, 0);
    EXPECT_TRUE(logout() == OK && login(kOfficerPin, CKU_SO) == OK);
    EXPECT_EQ(destroy(find(Class(TEE_CKO_TRUST_STORE_GROUP))[0]), OK);
    EXPECT_TRUE(logout() == OK && login() == OK);
  }
  void leave_damaged_object() {
    alter_store("UPDATE object SET record = x'41' WHERE number = " + std::to_string(generate()[0]));
  }

  const std::string m_officer = " --so-pin-hex 6f666669636572";

 private:
  test_support::TemporaryFolder m_files;
};

TEST_F(CheckTest, FindsEachClassOfFaultAndExitsWithItsCode) {
  const std::string wrong_pin = "'" TEE_TOKEN_ADMIN "' list --pin-hex 31313131;";
  const struct {
    std::function<void()> make;
    int code;
    std::string text, command = "check";
  } cases[] = {
      {[&] { install(), generate_temporary(); }, 0, "0 findings, 5 objects"},
      {[&] { destroy(generate_temporary()[0]), destroy(generate_temporary()[1]); }, 12, "does not match"},
      {[&] { destroy(generate_temporary()[0]); }, 13, "temporary: 0 public keys, 1 private key (object"},
      {[&] { install(), destroy(find(Class(CKO_CERTIFICATE))[0]); }, 13, "0 chains; install"},
      {[&] { install(generate_temporary(), ""); }, 13, "is empty"},
      {[&] { leave_damaged_object(); }, 14, "CKR_DEVICE_ERROR; if it persists"},
      {[&] { leave_damaged_object(); }, 0, "unreadable", "list"},
      {[&] { generate_temporary(), store_chain("12"); }, 14, "unreadable"},
      {[&] { install(); }, 16, "chain (object", "check --days 31"},
      {[&] { admin("import-cert 1_11 ca.pem"); }, 16, "will expire", "check --days 31"},
      {[&] { leave_root(); }, 18, "does not exist"},
      {[&] { leave_root(), admin("add-trust-group backend ca.pem" + m_officer); }, 0, "2 objects"},
      {[&] { store_chain(chain_for(generate_temporary()[0])); }, 19, "client CCI_CLIENT, key LYR"},
      {[&] { generate_temporary(), generate_temporary(); }, 19, "2 public keys (object"},
      {[&] { shell("for i in 1 2 3 4 5 6 7 8 9; do " + wrong_pin + "done"); }, 11, "one try left"},
      {[&] { shell(wrong_pin); }, 11, "tee-token reset-pin"},
  };
  for (const auto& each : cases) {
    each.make();
    const Outcome outcome = admin(each.command);
    EXPECT_EQ(outcome.code, each.code) << each.text << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.text));
    for (const auto object : find()) admin("destroy --force " + std::to_string(object) + m_officer);
    EXPECT_EQ(find(), Handles()) << each.text;
  }
  EXPECT_THAT(admin("check --json").text, HasSubstr(R"("class": "pin")"));
}

TEST_F(CheckTest, FindsEachFaultOfAFile) {
  const struct {
    std::string fault, text;
    int code = 10;
  } cases[] = {
      {"chmod 644 device.key", "chmod 600 "},
      {"truncate -s 31 device.key", "must hold 32 bytes"},
      {"echo words > token.db", "file is not a database"},
      {"rm pin-tries", "pin-tries: No such file"},
      {"ln -sf /dev/null pin-tries", "not a "},
      {"chmod 755 .", "chmod 700 "},
      {"touch device.key.new", "device.key.new is a temporary file", 19},
  };
  for (const auto& each : cases) {
    const Outcome outcome = shell("rm -rf copy; cp -a " + folder() + " copy && cd copy && " + each.fault +
                                  " && TEE_TOKEN_DIR=. '" TEE_TOKEN_ADMIN "' check");
    EXPECT_EQ(outcome.code, each.code) << each.fault << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.text));
  }
}

TEST_F(CheckTest, TellsApartWhatIsWrongWithAChain) {
  const struct {
    std::string arguments;
    int code;
    const char *text, *conclusion = "would be installed";
  } cases[] = {
      {"device.csr right.pem --roots ca.pem", 0, ""},
      {"device.csr leaf.der", 0, ""},
      {"device.csr ca.pem", 12, "no certificate matches the key", "would be refused"},
      {"device.csr /dev/null", 13, "chain is empty", "an empty chain would be installed"},
      {"device.csr mixed.pem", 14, "1 part cannot be read"},
      {"device.csr reversed.pem", 15, "certificate 2 matches the key; it must be the first"},
      {"device.csr gap.pem", 15, "certificate 1 is not issued by the next one"},
      {"device.csr right.pem --days 31", 16, "certificate 2 will expire"},
      {"device.csr server.pem", 17, "is not for TLS clients"},
      {"device.csr version1.pem", 17, "version 1"},
      {"other.csr right.pem", 17, "the leaf's subject is 'CN=\"device\"'"},
      {"device.csr right.pem --roots other.pem", 18, "does not verify with the roots"},
  };
  for (const auto& each : cases) {
    const Outcome outcome = admin("check-chain --csr " + each.arguments);
    EXPECT_EQ(outcome.code, each.code) << each.arguments << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, testing::AllOf(HasSubstr(each.text), HasSubstr(each.conclusion)));
  }
}

TEST_F(CheckTest, ComparesAChainWithThePendingKeyOfALabelAndKeepsTheInstalledOne) {
  install();
  const CK_OBJECT_HANDLE installed = find(Class(CKO_PUBLIC_KEY))[0];
  chain_for(generate_temporary()[0]);
  EXPECT_EQ(admin("check-chain --key 10_100 token.der").code, 0);
  chain_for(installed);
  EXPECT_EQ(admin("check-chain --key 10_100 token.der").code, 12);
  EXPECT_THAT(admin("destroy " + std::to_string(installed)).text,
              HasSubstr("a part of an installed identity"));
  EXPECT_EQ(find().size(), 5u);
}

}  // namespace
}  // namespace token_test
