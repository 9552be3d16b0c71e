// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "token_test.h"

namespace token_test {
namespace {

using ModuleTest = TokenTest;

TEST_F(ModuleTest, OffersTheVendorInterfaceInItsVersionAlone) {
  const auto get_interface = reinterpret_cast<TEE_C_GetInterface>(module_symbol("C_GetInterface"));
  unsigned char name[] = TEE_INTERFACE_NAME, unknown[] = "Vendor something else";
  TEE_INTERFACE* interface = nullptr;
  CK_VERSION later = {9, 9};
  EXPECT_EQ(answer(get_interface(name, &later, &interface, 0)), CKR_FUNCTION_FAILED);
  EXPECT_EQ(answer(get_interface(unknown, nullptr, &interface, 0)), CKR_FUNCTION_FAILED);
  ASSERT_EQ(answer(get_interface(nullptr, nullptr, &interface, 0)), OK);
  EXPECT_EQ(interface->functions, m_token);
}

TEST_F(ModuleTest, HasNoTokenWithoutAFolderAndAnUninitialisedOneInAnEmptyFolder) {
  std::filesystem::remove_all(folder());
  EXPECT_EQ(restart(), CKR_TOKEN_NOT_PRESENT);
  CK_ULONG count = 9;
  EXPECT_EQ(answer(m_token->C_GetSlotList(CK_TRUE, nullptr, &count)), OK);
  EXPECT_EQ(count, 0u);
  std::filesystem::create_directory(folder());
  std::filesystem::permissions(folder(), std::filesystem::perms::owner_all);
  CK_TOKEN_INFO info;
  EXPECT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), OK);
  EXPECT_EQ(info.flags & CKF_TOKEN_INITIALIZED, 0u);
  EXPECT_EQ(open(), CKR_TOKEN_NOT_RECOGNIZED);
}

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
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, signature), OK);
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
  CK_C_INITIALIZE_ARGS args = {};
  args.flags = CKF_OS_LOCKING_OK;
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  ASSERT_EQ(answer(m_token->C_Initialize(&args)), OK);
  ASSERT_EQ(open(), OK);
  ASSERT_EQ(login(), OK);
  std::vector<std::thread> threads;
  for (CK_BYTE data = 0; data < 4; ++data) threads.emplace_back(work, data);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace token_test
