// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>
#include <iterator>

#include "admin_shell.h"
#include "crypto/openssl_handles.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

std::string content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// `tee-token check` on a token whose objects the test makes itself.
class CheckTest : public TokenTest {
 protected:
  CheckTest() {
    EXPECT_EQ(login(), OK);
    run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout ca.key -out ca.pem "
        "-subj /CN=ca && openssl x509 -in ca.pem -outform DER -out ca.der && "
        "printf 'basicConstraints=CA:false\nextendedKeyUsage=clientAuth' > client.ext && "
        "echo extendedKeyUsage=serverAuth > server.ext");
  }

  static Template marks() {
    return Template()
        .text(TEE_CKA_VENDOR_CLIENT_ID, "CCI_CLIENT")
        .text(TEE_CKA_VENDOR_KEY_ID, "LYR")
        .flag(TEE_CKA_VENDOR_PERMANENT, false);
  }

  /// In the folder of the test, with success.
  void run(const std::string& command) {
    const Outcome outcome = shell("cd " + m_files.path().string() + " && " + command);
    EXPECT_EQ(outcome.code, 0) << command << outcome.text;
  }
  std::string file_of(const char* name) const { return (m_files.path() / name).string(); }

  /// The DER certificate for a key on the token, by ca.
  Value certificate_for(CK_OBJECT_HANDLE public_key, const std::string& extensions = "-extfile client.ext") {
    run("'" TEE_TOKEN_ADMIN "' export " + std::to_string(public_key) +
        " > key.pub && openssl x509 -new -force_pubkey key.pub -subj /CN=device -CA ca.pem -CAkey ca.key "
        "-days 30 "
        "-outform DER -out leaf.der " +
        extensions);
    return bytes("leaf.der");
  }
  Value bytes(const char* name) const {
    const std::string text = content(file_of(name));
    return Value(text.begin(), text.end());
  }

  void store_chain(Value chain, const Value& rest = {}) {
    chain.insert(chain.end(), rest.begin(), rest.end());
    Template object = marks();
    object.number(CKA_CLASS, CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, TEE_CKC_CERTIFICATE_CHAIN);
    EXPECT_EQ(create(object.flag(CKA_TOKEN, true).add(CKA_VALUE, chain)), OK);
  }

  void make_permanent() {
    alter_store("UPDATE attribute SET value = x'01' WHERE type = " +
                std::to_string(TEE_CKA_VENDOR_PERMANENT));
    make_store_old(folder());
  }

  /// An installed identity with its chain: leaf, ca.
  void install(const std::string& extensions = "-extfile client.ext") {
    store_chain(certificate_for(generate(marks())[0], extensions), bytes("ca.der"));
    make_permanent();
  }

 private:
  test_support::TemporaryFolder m_files;
};

TEST_F(CheckTest, TellsEachClassOfFaultByItsCode) {
  const std::string officer = " --so-pin-hex 6f666669636572";
  const struct {
    const char* fault;
    std::function<void()> make;
    int code;
    const char* said;
    const char* arguments = "";
  } cases[] = {
      {"none", [&] { install(); }, 0, "0 findings, 3 objects"},
      {"a request under way", [&] { install(), generate(marks()); }, 0, "0 findings, 5 objects"},
      {"halves of two pairs",
       [&] {
         const Handles one = generate(marks()), other = generate(marks());
         EXPECT_EQ(destroy(one[0]), OK);
         EXPECT_EQ(destroy(other[1]), OK);
       },
       12, "is not the private key's"},
      {"another's chain",
       [&] {
         const Handles other = generate();
         store_chain(certificate_for(other[0]));
         generate(marks());
         make_permanent();
       },
       12, "no certificate is for the key"},
      {"half a pair", [&] { EXPECT_EQ(destroy(generate(marks())[0]), OK); }, 13,
       "temporary: 0 public keys, 1 priv"},
      {"an identity without chain", [&] { generate(marks()), make_permanent(); }, 13, "0 chains; install"},
      {"an empty chain", [&] { generate(marks()), store_chain({}), make_permanent(); }, 13,
       "no certificate;"},
      {"a label that was altered",
       [&] {
         EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), OK);
         alter_store("UPDATE attribute SET value = x'41' WHERE type = 3");
       },
       14, "CKR_DEVICE_ERROR; if it stays so, destroy it"},
      {"words for a chain",
       [&] {
         generate(marks()), store_chain({1, 2}), make_permanent();
       },
       14, "unreadable"},
      {"leaf last",
       [&] {
         store_chain(bytes("ca.der"), certificate_for(generate(marks())[0]));
         make_permanent();
       },
       15, "certificate 2 is the key's"},
      {"soon out of date", [&] { install(); }, 16, "certificate 1 will expire", "--days 31"},
      {"a single certificate soon out of date", [&] { admin("import-cert 1_11 " + file_of("ca.pem")); }, 16,
       "will expire", "--days 31"},
      {"a server's", [&] { install("-extfile server.ext"); }, 17, "TLS clients"},
      {"roots without group",
       [&] {
         admin("add-trust-group backend " + file_of("ca.pem") + officer);
         alter_store(
             "DELETE FROM attribute WHERE object = (SELECT max(number) FROM object);"
             "DELETE FROM object WHERE number = (SELECT max(number) FROM object)");
       },
       18, "is a root of the trust group backend of client CCI_CLIENT, which is not there"},
      {"a chain that was not installed", [&] { store_chain(certificate_for(generate(marks())[0])); }, 19,
       "leftover: client CCI_CLIENT, key LYR"},
      {"two requests", [&] { generate(marks()), generate(marks()); }, 19, "2 public keys (object"},
      {"a draft", [&] { std::ofstream(file("device.key.new")) << ""; }, 19, "device.key.new is a draft"},
  };
  for (const auto& each : cases) {
    alter_store("DELETE FROM attribute; DELETE FROM object");
    each.make();
    const Outcome outcome = admin(std::string("check ") + each.arguments);
    EXPECT_EQ(outcome.code, each.code) << each.fault << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.said)) << each.fault;
  }
  EXPECT_THAT(admin("check --json").text, HasSubstr("\"class\": \"leftover\""));
}

TEST_F(CheckTest, TellsEachFaultOfAFile) {
  const std::string store = file("token.db");
  for (int i = 0; i < 30; ++i) {
    generate();
  }
  const struct {
    std::string fault, said;
    int code;
  } cases[] = {
      {"chmod 644 " + file("device.key"), "chmod 600 " + file("device.key"), 10},
      {"truncate -s 31 " + file("device.key"), "must hold 32 bytes", 10},
      {"rm " + file("pin-tries"), "pin-tries: No such file", 10},
      {"ln -sf /dev/null " + file("pin-tries"), "pin-tries is not a plain file", 10},
      {"chmod 755 " + folder(), "chmod 700 " + folder(), 10},
      {"dd conv=notrunc if=/dev/urandom bs=4096 count=1 seek=3 of=" + store,
       "only a new token in an empty folder helps", 10},
      {"echo words > " + store, "file is not a database", 10},
      {R"(printf '\n\0' | dd conv=notrunc of=)" + file("pin-tries"), "reset-pin", 11},
      {R"(printf '\0\t' | dd conv=notrunc of=)" + file("pin-tries"), "the security officer has one try", 11},
  };
  shell("cp -a " + folder() + " " + folder() + ".good");
  for (const auto& each : cases) {
    shell("rm -r " + folder() + " && cp -a " + folder() + ".good " + folder() + " && " + each.fault);
    const Outcome outcome = admin("check");
    EXPECT_EQ(outcome.code, each.code) << each.fault << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.said)) << each.fault;
  }
}

TEST_F(CheckTest, DoesNotTakeAStoreThatOthersHoldForADamagedOne) {
  sqlite3* opened = nullptr;
  ASSERT_EQ(sqlite3_open(file("token.db").c_str(), &opened), SQLITE_OK);
  const tee_token::Owned<sqlite3, sqlite3_close> store(opened);
  ASSERT_EQ(sqlite3_exec(opened, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  const Outcome outcome = admin("check");
  EXPECT_EQ(outcome.code, 5);
  EXPECT_THAT(outcome.text, testing::AllOf(HasSubstr("try again"), testing::Not(HasSubstr("damaged"))));
}

TEST_F(CheckTest, NoPartOfAnInstalledIdentityIsDestroyedUnasked) {
  const Handles pair = generate(marks());
  make_permanent();
  const std::string public_key = std::to_string(pair[0]);
  EXPECT_THAT(admin("destroy " + public_key).text, HasSubstr("a part of an installed identity"));
  EXPECT_EQ(find(), pair);
  EXPECT_EQ(admin("destroy --force " + public_key).code, 0);
}

TEST_F(CheckTest, ADamagedObjectIsListedAndCanBeDestroyed) {
  const Handles pair = generate();
  const std::string damaged = std::to_string(pair[0]);
  alter_store("UPDATE attribute SET value = x'41' WHERE type = 3 AND object = " + damaged);
  const Outcome listed = admin("list");
  EXPECT_EQ(listed.code, 0);
  EXPECT_THAT(listed.text,
              testing::AllOf(HasSubstr("unreadable"), HasSubstr("private key"), HasSubstr("2 objects")));
  EXPECT_THAT(admin("destroy " + damaged).text, HasSubstr("destroy --force"));
  EXPECT_EQ(admin("destroy --force " + damaged).code, 0);
  EXPECT_THAT(find(), testing::ElementsAre(pair[1]));
}

TEST_F(CheckTest, AChainIsComparedWithTheKeyOfALabelTheTemporaryOneFirst) {
  const Value label = {10, 100, 0, 0, 0};
  const Handles old = generate(marks().add(CKA_LABEL, label));
  make_permanent();
  const Handles now = generate(marks().add(CKA_LABEL, label));
  certificate_for(now[0]);
  EXPECT_EQ(admin("check-chain --key 10_100 " + file_of("leaf.der")).code, 0);
  certificate_for(old[0]);
  EXPECT_EQ(admin("check-chain --key 10_100 " + file_of("leaf.der")).code, 12);
}

}  // namespace
}  // namespace token_test
