// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <functional>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

const char kMakeFiles[] = R"(
  authority() { openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout $1.key -out $1.pem \
    -subj /CN=$1; }
  issue() { openssl x509 -req -in device.csr -CA ca.pem -CAkey ca.key -days 30 -out $1.pem $2 $3; }
  authority ca; authority other; authority device; openssl x509 -in ca.pem -outform DER -out ca.der
  for name in device other; do openssl req -new -key device.key -subj /CN=$name -out $name.csr; done
  printf 'basicConstraints=CA:false\nextendedKeyUsage=clientAuth' > client.ext
  echo extendedKeyUsage=serverAuth > server.ext; printf 'nsComment=%016384d' 0 > long.ext
  issue leaf -extfile client.ext; issue server -extfile server.ext; issue long -extfile long.ext
  perl -e 'print "\x30\x80" x 14, "\x30\x80\0\0" x 100000, "\x30\x80" x 20' > nested.der
  cat ca.pem leaf.pem > reversed.pem; cat leaf.pem ca.pem > right.pem; cat leaf.pem other.pem > gap.pem
  cat right.pem device.csr > mixed.pem; openssl ecparam -name prime256v1 -genkey -out key.pem  # with a block of parameters
  openssl pkcs8 -topk8 -nocrypt -outform DER -in key.pem -out key.der
  openssl pkcs8 -topk8 -passout pass:x -in key.pem -out encrypted.pem
  cat ca.pem ca.pem > two.pem; (cat ca.pem; head -n 5 ca.pem) > cut.pem; printf '32323232\n34343434\n' > pins)";

/// tee-token on a token whose objects the test makes itself, with files in the current folder.
class AdminTest : public TokenTest {
 protected:
  AdminTest() {
    ::unsetenv("TEE_TOKEN_LOG");
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(::chdir(m_files.path().c_str()), 0);
    EXPECT_EQ(shell(kMakeFiles).code, 0);
  }
  ~AdminTest() override { EXPECT_EQ(::chdir("/"), 0); }

  /// A certificate by ca for a key on the token, in token.der, and ca's behind it.
  Value chain_for(CK_OBJECT_HANDLE key) {
    const Outcome outcome = admin("export " + std::to_string(key) +
                                  " > key.pub && openssl x509 -new -force_pubkey key.pub -subj /CN=device -CA"
                                  " ca.pem -CAkey ca.key -extfile client.ext -outform DER -out token.der &&"
                                  " cat token.der ca.der > chain.der");
    EXPECT_EQ(outcome.code, 0) << outcome.text;
    const std::string chain = content_of("chain.der");
    return Value(chain.begin(), chain.end());
  }
  /// Installs a key pair and its chain, and removes the temporary objects.
  void install(const Template& object = marks(), bool has_chain = true) {
    Handles added = generate(object);
    added.push_back(store_chain(has_chain ? chain_for(added[0]) : Value()));
    EXPECT_EQ(TokenTest::install({}, added), OK);
    for (const CK_OBJECT_HANDLE part : added) EXPECT_EQ(destroy(part), OK);
  }
  /// Adds a trust group, then destroys its object without its root.
  void leave_root() {
    EXPECT_EQ(admin("add-trust-group backend ca.pem" + m_officer).code, 0);
    EXPECT_TRUE(logout() == OK && login_officer() == OK);
    EXPECT_EQ(destroy(find(Class(TEE_CKO_TRUST_STORE_GROUP))[0]), OK);
    EXPECT_TRUE(logout() == OK && login() == OK);
  }

  const std::string m_officer = " --so-pin-hex 6f666669636572";

 private:
  test_support::TemporaryFolder m_files;
};

const Case kSteps[] = {
    {"list", 4, "make one with tee-token init"},
    {"init --label Device", 0, "made token 'Device'\n"},
    {"init", 1, "there is a token already"},
    {"import-key 1_10 key.pem", 0, "stored 1_10 as object 1"},
    {"import-key 1_20 key.der", 0, "object 2"},
    {"import-key 1_20 key.der", 1, "tee-token destroy 2"},
    {"import-key 1_30 encrypted.pem", 1, "no unencrypted EC private key"},
    {"import-cert 1_11 ca.pem", 0, "object 3"},
    {"import-cert 1_12 two.pem", 1, "exactly one"},
    {"import-data 2_1 'a VIN'", 0, "object 4"},
    {"import-data 2_x VIN", 1, "expected GROUP_INDEX"},
    {"add-trust-group backend cut.pem", 1, "1 part cannot be read"},
    {"add-trust-group backend two.pem", 0, "with 2 roots as object 7"},
    {"add-trust-group 'a\nb' --client '\x1b[2K'", 0, "with 0 roots as object 8"},
    {"list", 0, "private key 1_20    pre-installed -"},
    {"list", 0, R"(trust group a\x0ab  trusted       \x1b[2K)"},
    {"list --json", 0, R"("label": "2_1")"},
    {"export 1", 1, "does not leave the token"},
    {"export 99", 1, "no object 99; see tee-token list"},
    {"frobnicate", 2, "there is no command frobnicate; see tee-token --help"},
    {"export 3 | cmp - ca.pem", 0, ""},
    {"export 7 | cmp - two.pem", 0, ""},
    {"destroy 6", 0, "destroyed object 6\n"},
    {"destroy 7", 0, "and its 1 root\n"},
    {"destroy 1", 1, "--force"},
    {"destroy --force 1", 0, ""},
    {"check-chain ca.pem", 2, "--key or --csr"},
    {"change-pin --new-pin-hex 3132333x", 1, "hexadecimal"},
    {"change-pin --new-pin-hex 31313131", 1, "one of ten tries; nothing was changed; --yes"},
    {"change-pin --new-pin-hex 31313131 --yes", 0, "4 bytes"},
    {"list --json", 3, "\"exit_code\": 3"},
    {"status", 0, "user tries left     9\n"},
    {"reset-pin --platform-pin; '" TEE_TOKEN_ADMIN "' status --json", 0, "\"user_tries_left\": 10"},
    {"change-so-pin < pins", 0, ""},
    {"reset-pin --new-pin-hex - --so-pin-hex - --yes < pins", 0, ""},
    {"list --pin-hex 34343434", 0, "\n4 objects"},
    {"reset-pin --new-pin-hex 31313131 --so-pin-hex 3938373635", 1, "--yes"},
    {"--pin-hex 31323334 --so-pin-hex 32323232 init --force", 0, "one of ten tries"},
    {"--help; echo y | script -qec \"'" TEE_TOKEN_ADMIN
     "' --pin-hex 31323334 change-pin --new-pin-hex 35353535\" /dev/null",
     0, "[y/N]"},
    {"list --pin-hex 35353535", 0, "0 objects"},
    {"--help; TEE_TOKEN_DIR=pins '" TEE_TOKEN_ADMIN "' list", 4, "is a file, not a folder"},
    {"--help; cp $TEE_TOKEN_DIR/device.key . && rm $TEE_TOKEN_DIR/token.db && '" TEE_TOKEN_ADMIN
     "' init && cmp device.key $TEE_TOKEN_DIR/device.key",
     0, "made token"},
    {"list; chmod 755 $TEE_TOKEN_DIR; '" TEE_TOKEN_ADMIN "' list", 5, "chmod 700"},
};

TEST_F(AdminTest, EachCommandDoesItsWorkOrExitsWithItsCodeAndChangesNothing) {
  ::setenv("TEE_TOKEN_DIR", "below/token", 1);
  for (const Case& step : kSteps) {
    const std::string store = "cksum $TEE_TOKEN_DIR/token.db", before = shell(store).text;
    expect(step);
    EXPECT_TRUE(step.code == 0 || shell(store).text == before) << step.command;
  }
}

TEST_F(AdminTest, OfTwoThatStoreTheSameAtOnceOneIsRefused) {
  const struct {
    const char *arguments, *refused, *after;
  } cases[] = {
      {"init", "there is a token already", "\n0 objects"},
      {"import-data 2_1 a", "has the label 2_1", "1 object\n"},
      {"add-trust-group g two.pem", "is the trust group g", "4 objects"},
  };
  ::setenv("TEE_TOKEN_DIR", "below/token", 1);
  for (const auto& each : cases) {
    ::setenv("ARGUMENTS", each.arguments, 1);
    const Outcome both = shell("for i in 1 2; do '" TEE_TOKEN_ADMIN "' $ARGUMENTS & done; wait");
    EXPECT_THAT(both.text, HasSubstr(each.refused));
    EXPECT_THAT("\n" + admin("list").text, HasSubstr(each.after));
  }
}

TEST_F(AdminTest, FindsEachClassOfFaultAndExitsWithItsCode) {
  const std::string wrong_pin = "'" TEE_TOKEN_ADMIN "' list --pin-hex 31313131;";
  const std::string pending = "check-chain --key 10_100 token.der";
  const Template labelled = marks().add(CKA_LABEL, {10, 100, 0, 0, 0});
  const struct {
    std::function<void()> make;
    int code;
    std::string text, command = "check";
  } cases[] = {
      {[&] { install(), generate(marks()); }, 0, "0 findings, 5 objects"},
      {[&] { destroy(generate(marks())[0]), destroy(generate(marks())[1]); }, 12, "does not match"},
      {[&] { destroy(generate(marks())[0]); }, 13, "temporary: 0 public keys, 1 private key (object"},
      {[&] { install(), destroy(find(Class(CKO_CERTIFICATE))[0]); }, 13, "0 chains; install"},
      {[&] { install(marks(), false); }, 13, "is empty"},
      {[&] { generate(), alter_store("UPDATE object SET record = x'41'"); }, 14, "CKR_DEVICE_ERROR; if it"},
      {[&] { generate(), alter_store("UPDATE object SET record = x'41'"); }, 0, "unreadable", "list"},
      {[&] { generate(marks()), store_chain(Value(2, 1)); }, 14, "unreadable"},
      {[&] { install(); }, 16, "chain (object", "check --days 31"},
      {[&] { leave_root(); }, 18, "does not exist"},
      {[&] { leave_root(), admin("add-trust-group backend ca.pem" + m_officer); }, 0, "2 objects"},
      {[&] { store_chain(chain_for(generate(marks())[0])); }, 19, "client CCI_CLIENT, key LYR"},
      {[&] { generate(marks()), generate(marks()); }, 19, "2 public keys (object"},
      {[&] { install(labelled), chain_for(generate(labelled)[0]); }, 0, "would be installed", pending},
      {[&] { install(labelled), generate(labelled), chain_for(installed()[1]); }, 12, "", pending},
      {[&] { shell("touch $TEE_TOKEN_DIR/device.key.new"); }, 19, "device.key.new is a temporary file"},
      {[&] { shell("for i in 1 2 3 4 5 6 7 8 9; do " + wrong_pin + "done"); }, 11, "one try left"},
      {[&] { shell(wrong_pin); }, 11, "tee-token reset-pin"},
      // The last ones: each makes the token unusable.
      {[&] { shell("echo words > $TEE_TOKEN_DIR/token.db"); }, 10, "file is not a database"},
      {[&] { shell("chmod 644 $TEE_TOKEN_DIR/device.key"); }, 10, "chmod 600 "},
      {[&] { shell("chmod 400 $TEE_TOKEN_DIR/pin-tries"); }, 10, "cannot be written; run: chmod 600"},
      {[&] { shell("rm $TEE_TOKEN_DIR/pin-tries"); }, 10, "pin-tries: No such file or directory; write two"},
  };
  for (const auto& each : cases) {
    each.make();
    expect({each.command, each.code, each.text});
    for (const auto part : installed()) expect({"destroy " + std::to_string(part), 1, "installed identity"});
    for (const auto object : find()) admin("destroy --force " + std::to_string(object) + m_officer);
    EXPECT_EQ(find(), Handles()) << each.text;
  }
  EXPECT_THAT(admin("check --json").text, HasSubstr(R"("class": "files")"));
}

TEST_F(AdminTest, TellsApartWhatIsWrongWithAChain) {
  const Case cases[] = {
      {"device.csr right.pem --roots ca.pem", 0, "would be installed"},
      {"device.csr ca.pem", 12, "would be refused"},
      {"device.csr /dev/null", 13, "the token would take it; cci would refuse it"},
      {"device.csr mixed.pem", 14, "1 part cannot be read"},
      {"device.csr long.pem", 13, "1 part cannot be read"},
      {"device.csr nested.der", 13, "17 parts cannot be read"},
      {"device.csr reversed.pem", 15, "certificate 2 is the client's; it must be the first"},
      {"device.csr gap.pem", 15, "certificate 1 is not issued by the next one"},
      {"device.csr right.pem --days 31", 16, "certificate 2 will expire"},
      {"device.csr server.pem", 17, "is not for TLS clients"},
      {"other.csr right.pem", 17, "the leaf's subject is 'CN=\"device\"'"},
      {"device.csr right.pem --roots other.pem", 18, "does not verify with the roots"},
  };
  for (const auto& each : cases) expect({"check-chain --csr " + each.command, each.code, each.said});
}

}  // namespace
}  // namespace token_test
