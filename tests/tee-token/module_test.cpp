// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "token_test.h"

static pid_t s_process = 0;  // what getpid answers; 0: the truth
extern "C" __attribute__((visibility("default"))) pid_t getpid() {
  return s_process != 0 ? s_process : static_cast<pid_t>(::syscall(SYS_getpid));
}

namespace token_test {
namespace {

using ModuleTest = TokenTest;

// As in another PID namespace, the child has the parent's number.
TEST_F(ModuleTest, AForkedChildInitialisesForItselfAndTheParentGoesOn) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  int pipe[2], status = 1;
  CK_BYTE numbers[32], numbers_of_child[32] = {};
  ASSERT_EQ(::pipe(pipe), 0);
  s_process = ::getpid();
  if (::fork() == 0) {
    const bool apart = m_token->C_GetInfo(nullptr) == CKR_CRYPTOKI_NOT_INITIALIZED;
    const bool works = restart() == OK && login() == OK && find() == keys;
    const CK_RV answer = m_token->C_GenerateRandom(m_session, numbers, sizeof numbers);
    ::_exit(apart && works && answer == CKR_OK && ::write(pipe[1], numbers, sizeof numbers) > 0 ? 0 : 1);
  }
  ::wait(&status);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(answer(m_token->C_GenerateRandom(m_session, numbers, sizeof numbers)), OK);
  EXPECT_EQ(sign(keys[1]), OK);
  EXPECT_EQ(::read(pipe[0], numbers_of_child, sizeof numbers), 32);
  EXPECT_THAT(numbers, testing::Not(testing::ElementsAreArray(numbers_of_child)));
}

TEST_F(ModuleTest, ThreadsSignInSessionsOfTheirOwn) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  const auto work = [&](CK_BYTE data) {
    CK_SESSION_HANDLE session = 0;
    CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
    CK_BYTE signature[64];
    CK_ULONG length = sizeof signature;
    EXPECT_EQ(answer(m_token->C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &session)), OK);
    for (int round = 0; round < 20; ++round) {
      EXPECT_EQ(answer(m_token->C_SignInit(session, &mechanism, keys[1])), OK);
      EXPECT_EQ(answer(m_token->C_Sign(session, &data, 1, signature, &length)), OK);
      EXPECT_EQ(answer(m_token->C_VerifyInit(session, &mechanism, keys[0])), OK);
      EXPECT_EQ(answer(m_token->C_Verify(session, &data, 1, signature, length)), OK);
    }
  };
  std::vector<std::thread> threads;
  for (CK_BYTE data = 0; data < 4; ++data) threads.emplace_back(work, data);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace token_test
