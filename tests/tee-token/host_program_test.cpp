// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Nothing that the program that loads the module does reaches the module.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using HostProgramTest = TokenTest;

Answer s_nested = OK;

int constant_bytes_after_a_call(unsigned char* bytes, int count) {
  std::memset(bytes, 7, static_cast<std::size_t>(count));
  s_nested = cryptoki()->C_GetInfo(nullptr);
  return 1;
}

TEST_F(HostProgramTest, ItsConfigurationOfLibcryptoIsNotTheTokens) {
  const auto bytes = constant_bytes_after_a_call;
  const RAND_METHOD constant = {nullptr, bytes, nullptr, nullptr, bytes, nullptr};
  ASSERT_EQ(RAND_set_rand_method(&constant), 1);
  ASSERT_EQ(EVP_set_default_properties(nullptr, "provider=none"), 1);
  EXPECT_EQ(login(), OK);
  const Handles keys = generate();
  EXPECT_NE(value_of(keys[0], CKA_EC_POINT), value_of(generate()[0], CKA_EC_POINT));
  EXPECT_EQ(sign(keys[1]), OK);
  EXPECT_EQ(s_nested, CKR_FUNCTION_FAILED) << "and does not wait for the call in which it is made";
  EXPECT_EQ(install({}, {}), CKR_ARGUMENTS_BAD);
  EXPECT_THAT(content_of("/proc/self/maps"), testing::Not(testing::HasSubstr("tss2"))) << "for a TPM alone";
  EXPECT_EQ(EVP_set_default_properties(nullptr, ""), 1);
  EXPECT_EQ(RAND_set_rand_method(nullptr), 1);
}

bool s_exits = false;
// It is registered before libcrypto's end, so it is called afterwards.
[[maybe_unused]] const int s_last_calls = std::atexit([] {
  CK_INFO info;
  if (!s_exits) return;
  const bool is_refused = cryptoki()->C_GetInfo(&info) == CKR_CRYPTOKI_NOT_INITIALIZED;
  ::_exit(is_refused && cryptoki()->C_Initialize(nullptr) == CKR_GENERAL_ERROR ? 0 : 1);
});

TEST_F(HostProgramTest, ItsCallsAreRefusedOnceItHasEndedLibcrypto) {
  ASSERT_EQ(login(), OK);
  const CK_OBJECT_HANDLE key = generate()[1];
  int status = 1;
  if (::fork() == 0) {
    s_exits = restart() == OK && login() == OK;
    std::thread([&] {
      while (true) sign(key);
    }).detach();
    std::exit(1);
  }
  ::wait(&status);
  EXPECT_EQ(status, 0);
}

// A program that has more rights than its user takes no token and no log file from the user's environment.
// This test runs a copy of its own program that has the rights of another group.
TEST(PrivilegedProgram, TakesNoSettingFromItsUser) {
  constexpr int kNotPrivileged = 77;
  if (::getenv("TEST_IS_PRIVILEGED") != nullptr) {
    CK_ULONG count = 9;
    cryptoki()->C_Initialize(nullptr);
    cryptoki()->C_GetSlotList(CK_TRUE, nullptr, &count);
    cryptoki()->C_GetSlotInfo(9, nullptr);  // fails, which would be a line in the log
    ::_exit(::getauxval(AT_SECURE) == 0 ? kNotPrivileged : static_cast<int>(count));
  }
  const test_support::TemporaryFolder token;  // an empty folder is a token that is not initialised
  const std::string program = std::filesystem::read_symlink("/proc/self/exe"), copy = program + ".privileged";
  const std::string log = token.path() / "log";
  const Outcome outcome = shell("cp " + program + " " + copy + "; chgrp 65534 " + copy + "; chmod 2755 " +
                                copy + "; TEST_IS_PRIVILEGED=1 TEE_TOKEN_DIR=" + token.path().string() +
                                " TEE_TOKEN_LOG=all,file:" + log + " " + copy + " --gtest_filter=Priv*");
  std::filesystem::remove(copy);
  if (outcome.code == kNotPrivileged) GTEST_SKIP() << "needs root and a file system with setgid";
  EXPECT_EQ(outcome.code, 0) << outcome.text;
  EXPECT_FALSE(std::filesystem::exists(log));
}

}  // namespace
}  // namespace token_test
