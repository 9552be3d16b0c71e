// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

const char kIssueChain[] = R"( >own.pub
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=CA -keyout ca.key -out ca.pem
  openssl x509 -in ca.pem -outform DER >chain
  openssl x509 -new -force_pubkey own.pub -subj /CN=own -CA ca.pem -CAkey ca.key -outform DER >>chain)";

class InstallationTest : public TokenTest {
 protected:
  InstallationTest() { EXPECT_EQ(login(), OK); }

  /// A temporary key pair and a chain in which its certificate is the second.
  Handles new_parts(Template object = marks()) {
    Handles parts = generate(object);
    shell("cd '" + folder() + "/..'; '" TEE_TOKEN_ADMIN "' export " + std::to_string(parts[0]) + kIssueChain);
    const std::string chain = content_of(file("../chain"));
    parts.push_back(store_chain(Value(chain.begin(), chain.end()), object));
    return parts;
  }
};

TEST_F(InstallationTest, MakesPermanentCopiesInThePlaceOfTheOldOnes) {
  const Handles parts = new_parts();
  const Template trusted = Template().flag(CKA_TRUSTED, true);
  ASSERT_EQ(logout(), OK);
  ASSERT_EQ(login_officer(), OK);
  ASSERT_EQ(set(parts[2], trusted), OK);
  ASSERT_EQ(logout(), OK);
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(install({}, parts), OK);
  EXPECT_THAT(find(trusted), testing::ElementsAre(parts[2])) << "trust is not installed along";
  const Handles now = installed();
  ASSERT_EQ(now.size(), 3u);
  EXPECT_EQ(find().size(), 6u);
  EXPECT_EQ(copy(now[0]), CKR_ACTION_PROHIBITED);

  const Handles next = new_parts();
  EXPECT_EQ(install(now, {next[0], next[1], store_chain({})}), OK) << "an empty chain";
  EXPECT_THAT(installed(), testing::AllOf(testing::SizeIs(3), testing::Each(testing::Gt(next[2]))));
}

TEST_F(InstallationTest, RefusesWhatWouldNotBeOneWholeIdentityAndChangesNothing) {
  ASSERT_EQ(install({}, new_parts()), OK);
  const Handles old = installed(), good = new_parts(), other = new_parts(),
                foreign = new_parts(marks("OTHER"));
  Value junk = value_of(good[2], CKA_VALUE);
  junk.push_back(0x30);
  const CK_OBJECT_HANDLE junk_chain = store_chain(junk);
  const struct {
    const char* fault;
    Handles installed, added;
    CK_RV code;
  } cases[] = {
      {"unknown handle", old, {good[0], good[1], 99999}, CKR_OBJECT_HANDLE_INVALID},
      {"installed as added", old, {old[0], good[1], good[2]}, CKR_OBJECT_HANDLE_INVALID},
      {"temporary as installed", {old[0], old[1], good[2]}, good, CKR_OBJECT_HANDLE_INVALID},
      {"incomplete installed", {old[0], old[1]}, good, CKR_ARGUMENTS_BAD},
      {"no installed named", {}, good, CKR_ARGUMENTS_BAD},
      {"chain of another client", old, {good[0], good[1], foreign[2]}, CKR_OBJECT_HANDLE_INVALID},
      {"two public keys", old, {good[0], other[0], good[2]}, CKR_ARGUMENTS_BAD},
      {"one too many", old, {good[0], good[1], good[2], other[0]}, CKR_ARGUMENTS_BAD},
      {"public key of another pair", old, {other[0], good[1], good[2]}, CKR_KEY_HANDLE_INVALID},
      {"chain for another key", old, {good[0], good[1], other[2]}, CKR_DATA_INVALID},
      {"chain with trailing bytes", old, {good[0], good[1], junk_chain}, CKR_DATA_INVALID},
  };
  const Handles before = find();
  for (const auto& each : cases) {
    EXPECT_EQ(install(each.installed, each.added), each.code) << each.fault;
    EXPECT_EQ(find(), before) << each.fault;
  }
  ASSERT_EQ(open(CKF_SERIAL_SESSION), OK);
  EXPECT_EQ(install(old, good), CKR_SESSION_READ_ONLY);
  ASSERT_EQ(open(), OK);
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(install(old, good), CKR_USER_NOT_LOGGED_IN);
}

}  // namespace
}  // namespace token_test
