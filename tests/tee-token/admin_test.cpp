// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "admin_shell.h"
#include "support/temporary_folder.h"

namespace token_test {
namespace {

using testing::HasSubstr;

/// tee-token on a token of its own, with files to import in the current folder.
class AdminTest : public testing::Test {
 protected:
  AdminTest() {
    ::setenv("TEE_TOKEN_DIR", (m_folder.path() / "below" / "token").c_str(), 1);
    ::unsetenv("TEE_TOKEN_LOG");
    EXPECT_EQ(::chdir(m_folder.path().c_str()), 0);
    const Outcome files = shell(
        "openssl ecparam -name prime256v1 -genkey -out key.pem;"  // with a block of parameters
        "openssl pkcs8 -topk8 -nocrypt -outform DER -in key.pem -out key.der;"
        "openssl pkcs8 -topk8 -passout pass:x -in key.pem -out encrypted.pem;"
        "openssl req -x509 -new -key key.pem -subj /CN=device -out cert.pem;"
        "cat cert.pem cert.pem > two.pem; (cat cert.pem; head -n 5 cert.pem) > cut.pem;"
        "printf '32323232\n34343434\n' > pins");
    EXPECT_EQ(files.code, 0) << files.text;
  }
  ~AdminTest() override { EXPECT_EQ(::chdir("/"), 0); }

 private:
  test_support::TemporaryFolder m_folder;
};

TEST_F(AdminTest, EachCommandDoesItsWorkOrExitsWithItsCodeAndChangesNothing) {
  const struct {
    std::string arguments;
    int code;
    std::string text;
  } steps[] = {
      {"list", 4, "make one with tee-token init"},
      {"init --label Device", 0, "made token 'Device'\n"},
      {"init", 1, "there is a token already"},
      {"init --force --so-pin-hex 3132333435", 3, "CKR_PIN_INCORRECT"},
      {"import-key 1_10 key.pem", 0, "stored 1_10 as object 1"},
      {"import-key 1_20 key.der", 0, "object 2"},
      {"import-key 1_20 key.der", 1, "tee-token destroy 2"},
      {"import-key 1_30 encrypted.pem", 1, "no unencrypted EC private key"},
      {"import-cert 1_11 cert.pem", 0, "object 3"},
      {"import-cert 1_12 nowhere", 1, "No such file"},
      {"import-cert 1_12 two.pem", 1, "exactly one"},
      {"import-data 2_1 'a VIN'", 0, "object 4"},
      {"import-data 2_x VIN", 1, "expected GROUP_INDEX"},
      {"add-trust-group backend cut.pem", 1, "1 part cannot be read"},
      {"add-trust-group '' cert.pem", 1, "neither empty"},
      {"add-trust-group backend two.pem --so-pin-hex 3132333435", 3, "CKR_PIN_INCORRECT"},
      {"add-trust-group backend two.pem", 0, "with 2 roots as object 7"},
      {"add-trust-group 'a\nb' --client '\x1b[2K'", 0, "with 0 roots as object 8"},
      {"list", 0, "private key 1_20    pre-installed -"},
      {"list", 0, "trust group backend trusted       CCI_CLIENT      2 roots"},
      {"list", 0, R"(trust group a\x0ab  trusted       \x1b[2K)"},
      {"list --json", 0, R"("label": "2_1")"},
      {"export 1", 1, "does not leave the token"},
      {"export 3 | cmp - cert.pem", 0, ""},
      {"export 4", 0, "a VIN"},
      {"export 7 | cmp - two.pem", 0, ""},
      {"destroy 77", 1, "no such object"},
      {"destroy 6", 0, "destroyed object 6\n"},
      {"destroy 7", 0, "and its 1 root\n"},
      {"destroy 1", 1, "--force"},
      {"destroy --force 1", 0, ""},
      {"list", 0, "\n4 objects"},
      {"check-chain --key 1_1 cert.pem", 1, "no public key 1_1"},
      {"check-chain cert.pem", 2, "--key or --csr"},
      {"frobnicate", 2, "--help"},
      {"--module /nonexistent.so list", 1, "/nonexistent.so"},
      {"change-pin --new-pin-hex 31", 3, "CKR_PIN_LEN_RANGE"},
      {"change-pin --new-pin-hex 3132333x", 1, "hexadecimal"},
      {"change-pin --new-pin-hex 31313131", 0, "4 bytes"},
      {"list", 3, "CKR_PIN_INCORRECT"},
      {"change-so-pin < pins", 0, ""},
      {"reset-pin --new-pin-hex - --so-pin-hex - < pins", 0, ""},
      {"list --pin-hex 34343434", 0, "4 objects"},
      {"--pin-hex 31323334 --so-pin-hex 32323232 init --force", 0, "it cannot use this token"},
      {"list --pin-hex 31323334", 0, "0 objects"},
      {"list; chmod 755 $TEE_TOKEN_DIR; '" TEE_TOKEN_ADMIN "' list", 5, "chmod 700"},
  };
  for (const auto& step : steps) {
    const std::string store = "cksum $TEE_TOKEN_DIR/token.db", before = shell(store).text;
    const Outcome outcome = admin(step.arguments);
    EXPECT_EQ(outcome.code, step.code) << step.arguments << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(step.text)) << step.arguments;
    EXPECT_TRUE(step.code == 0 || shell(store).text == before) << step.arguments;
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
  for (const auto& each : cases) {
    ::setenv("ARGUMENTS", each.arguments, 1);
    const Outcome both = shell("for i in 1 2; do '" TEE_TOKEN_ADMIN "' $ARGUMENTS & done; wait");
    EXPECT_THAT(both.text, HasSubstr(each.refused));
    EXPECT_THAT("\n" + admin("list").text, HasSubstr(each.after));
  }
}

}  // namespace
}  // namespace token_test
