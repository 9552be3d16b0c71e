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
    EXPECT_EQ(shell("openssl ecparam -name prime256v1 -genkey -out key.pem;"
                    "openssl pkcs8 -topk8 -nocrypt -outform DER -in key.pem -out key.der;"
                    "openssl pkcs8 -topk8 -passout pass:x -in key.pem -out encrypted.pem;"
                    "openssl req -x509 -new -key key.pem -subj /CN=device -out cert.pem;"
                    "cat cert.pem cert.pem > two.pem;"
                    "(cat cert.pem; head -n 5 cert.pem) > cut.pem; printf '32323232\n34343434\n' > pins")
                  .code,
              0);
  }
  ~AdminTest() override { EXPECT_EQ(::chdir("/"), 0); }

 private:
  test_support::TemporaryFolder m_folder;
};

TEST_F(AdminTest, EachCommandDoesItsWorkAndExitsWithItsCode) {
  const struct {
    std::string arguments;
    int code;
    std::string text;
  } steps[] = {
      {"list", 4, "make one with tee-token init"},
      {"check", 4, "CKR_TOKEN_NOT_PRESENT"},
      {"init --label Device", 0, "made token 'Device'\n"},
      {"import-key 1_10 key.pem", 0, "stored 1_10 as object 1"},  // behind a block of parameters
      {"import-key 1_20 key.der", 0, "object 2"},
      {"import-cert 1_11 cert.pem", 0, "object 3"},
      {"import-data 2_1 'a VIN'", 0, "object 4"},
      {"add-trust-group backend two.pem", 0, "with 2 roots as object 7"},
      {"add-trust-group 'a\nb' --client '\x1b[2K'", 0, "with 0 roots as object 8"},
      {"list", 0, "private key 1_20    pre-installed -"},
      {"list", 0, "trust group backend trusted       CCI_CLIENT      2 roots"},
      {"list", 0, R"(trust group a\x0ab  trusted       \x1b[2K)"},
      {"list --json", 0, R"("label": "2_1")"},
      {"export 3 | cmp - cert.pem", 0, ""},
      {"export 4", 0, "a VIN"},
      {"export 7 | cmp - two.pem", 0, ""},
      {"destroy 6", 0, "destroyed object 6\n"},
      {"destroy 7", 0, "and its 1 root\n"},
      {"destroy --force 1", 0, ""},
      {"list", 0, "\n4 objects"},
      {"check-chain --key 1_1 cert.pem", 1, "no public key 1_1"},
      {"check-chain cert.pem", 2, "--key or --csr"},
      {"destroy -1", 2, "-1"},
      {"frobnicate", 2, "--help"},
      {"--module /nonexistent.so list", 1, "/nonexistent.so"},
      {"change-pin --new-pin-hex 31313131", 0, "4 bytes"},
      {"list", 3, "CKR_PIN_INCORRECT"},
      {"list --pin-hex 31313131", 0, ""},
      {"change-so-pin < pins", 0, ""},
      {"reset-pin --new-pin-hex 33333333", 3, "CKR_PIN_INCORRECT"},
      {"reset-pin --new-pin-hex - --so-pin-hex - < pins", 0, ""},
      {"list --pin-hex 34343434", 0, "4 objects"},
      {"--pin-hex 31323334 --so-pin-hex 32323232 init --force", 0, "it cannot use this token"},
      {"list --pin-hex 31323334", 0, "0 objects"},
      {"list; chmod 755 $TEE_TOKEN_DIR; '" TEE_TOKEN_ADMIN "' list", 5, "chmod 700"},
  };
  for (const auto& step : steps) {
    const Outcome outcome = admin(step.arguments);
    EXPECT_EQ(outcome.code, step.code) << step.arguments << "\n" << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(step.text)) << step.arguments;
  }
}

TEST_F(AdminTest, ARefusedCommandSaysWhyAndChangesNothing) {
  ASSERT_EQ(admin("init").code + admin("import-key 1_10 key.pem").code, 0);
  const std::string before = admin("list --json").text;
  const struct {
    std::string arguments, text;
    int code = 1;
  } cases[] = {
      {"init", "there is a token already"},
      {"init --force --so-pin-hex 3132333435", "CKR_PIN_INCORRECT", 3},
      {"import-key 1_10 key.der", "tee-token destroy 1"},
      {"import-key 1_20 encrypted.pem", "no unencrypted EC private key"},
      {"import-data 2_x VIN", "expected GROUP_INDEX"},
      {"import-cert 1_11 nowhere", "No such file"},
      {"import-cert 1_11 /dev/null", "holds no certificate"},
      {"import-cert 1_11 two.pem", "exactly one"},
      {"add-trust-group backend key.pem", "2 parts cannot be read"},
      {"add-trust-group backend cut.pem", "1 part cannot be read"},
      {"add-trust-group backend ''", "No such file"},
      {"add-trust-group '' cert.pem", "neither empty"},
      {"add-trust-group backend cert.pem --so-pin-hex 3132333435", "CKR_PIN_INCORRECT", 3},
      {"destroy 1", "--force"},
      {"destroy 77", "no such object"},
      {"export 1", "does not leave the token"},
      {"change-pin --new-pin-hex 31", "CKR_PIN_LEN_RANGE", 3},
      {"change-pin --new-pin-hex 3132333x", "hexadecimal"},
      {"reset-pin < /dev/null", "stdin"},
  };
  for (const auto& each : cases) {
    const Outcome outcome = admin(each.arguments);
    EXPECT_EQ(outcome.code, each.code) << each.arguments;
    EXPECT_THAT(outcome.text, HasSubstr(each.text)) << each.arguments;
    EXPECT_EQ(admin("list --json").text, before) << each.arguments;
  }
}

TEST_F(AdminTest, OfTwoThatStoreTheSameAtOnceOneIsRefused) {
  const struct {
    const char *one, *other, *refused, *after;
  } cases[] = {
      {"init", "init", "there is a token already", "\n0 objects"},
      {"import-data 2_1 a", "import-data 2_1 b", "has the label 2_1", "1 object\n"},
      {"add-trust-group g two.pem", "add-trust-group g two.pem", "is the trust group g", "4 objects"},
  };
  for (const auto& each : cases) {
    const std::string tool = "'" TEE_TOKEN_ADMIN "' ";
    EXPECT_THAT(shell(tool + each.one + " & " + tool + each.other + "; wait").text, HasSubstr(each.refused));
    EXPECT_THAT("\n" + admin("list").text, HasSubstr(each.after));
  }
}

}  // namespace
}  // namespace token_test
