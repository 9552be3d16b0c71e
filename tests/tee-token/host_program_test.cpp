// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Nothing that the program that loads the module does reaches the module.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/err.h>
#include <openssl/rand.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using HostProgramTest = TokenTest;

int constant_bytes(unsigned char* bytes, int count) {
  std::memset(bytes, 7, static_cast<std::size_t>(count));
  return 1;
}

TEST_F(HostProgramTest, ItsRandomNumbersAreNotTheTokens) {
  static const RAND_METHOD constant = {nullptr, constant_bytes, nullptr, nullptr, constant_bytes, nullptr};
  ASSERT_EQ(RAND_set_rand_method(&constant), 1);
  Value taken(32);
  EXPECT_EQ(answer(m_token->C_GenerateRandom(m_session, taken.data(), taken.size())), OK);
  ASSERT_EQ(login(), OK);
  const Value first = value_of(generate()[0], CKA_EC_POINT), second = value_of(generate()[0], CKA_EC_POINT);
  EXPECT_EQ(RAND_set_rand_method(nullptr), 1);
  EXPECT_NE(taken, Value(32, 7));
  EXPECT_NE(first, second);
}

TEST_F(HostProgramTest, ItsErrorsStayAndTheTokensOwnDoNot) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
  const unsigned long error = ERR_peek_last_error();
  EXPECT_NE(create(Class(CKO_PUBLIC_KEY)
                       .number(CKA_KEY_TYPE, CKK_EC)
                       .add(CKA_EC_PARAMS, kP256)
                       .add(CKA_EC_POINT, Value(67, 4))),
            OK);
  EXPECT_EQ(ERR_get_error(), error);
  EXPECT_EQ(ERR_get_error(), 0U);
}

// The environment of a program that has more rights than its user is the user's: it names no token and no log
// file. This test runs a copy of its own program that has the rights of another group.
TEST(PrivilegedProgram, TakesNoSettingFromItsUser) {
  constexpr int kNotPrivileged = 77;
  if (::getenv("TEST_IS_PRIVILEGED") != nullptr) {
    if (::getauxval(AT_SECURE) == 0) ::_exit(kNotPrivileged);
    CK_ULONG count = 9;
    cryptoki()->C_Initialize(nullptr);
    EXPECT_EQ(answer(cryptoki()->C_GetSlotList(CK_TRUE, nullptr, &count)), OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(answer(cryptoki()->C_GetSlotInfo(9, nullptr)), CKR_SLOT_ID_INVALID);
    ::_exit(HasFailure() ? 1 : 0);  // a leak checker cannot look into such a process
  }
  gid_t groups[64] = {65534};
  const int count = ::geteuid() == 0 ? 1 : ::getgroups(64, groups);
  const std::string program = std::filesystem::read_symlink("/proc/self/exe"), copy = program + ".privileged";
  std::filesystem::copy_file(program, copy, std::filesystem::copy_options::overwrite_existing);
  for (int i = 0; i < count; ++i) {
    if (groups[i] != ::getegid() && ::chown(copy.c_str(), static_cast<uid_t>(-1), groups[i]) == 0) break;
  }
  ::chmod(copy.c_str(), 02755);
  const test_support::TemporaryFolder token;  // an empty folder is a token that is not initialised
  const std::string path = token.path(), log = path + "/log";
  const Outcome outcome =
      shell("TEST_IS_PRIVILEGED=1 TEE_TOKEN_DIR='" + path + "' TEE_TOKEN_LOG='all,file:" + log + "' '" +
            copy + "' --gtest_filter=PrivilegedProgram.*");
  std::filesystem::remove(copy);
  if (outcome.code == kNotPrivileged)
    GTEST_SKIP() << "needs root, or a second group and a file system with setgid";
  EXPECT_EQ(outcome.code, 0) << outcome.text;
  EXPECT_FALSE(std::filesystem::exists(log));
}

}  // namespace
}  // namespace token_test
