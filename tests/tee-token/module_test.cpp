// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "token_test.h"

namespace token_test {
namespace {

using ModuleTest = TokenTest;

TEST_F(ModuleTest, AForkedChildInitialisesForItselfAndTheParentGoesOn) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  const pid_t child = ::fork();
  if (child == 0) {
    const bool apart = m_token->C_GetInfo(nullptr) == CKR_CRYPTOKI_NOT_INITIALIZED;
    ::_exit(apart && restart() == OK && login() == OK && find() == keys ? 0 : 1);
  }
  int status = 1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(sign(keys[1]), OK);
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
