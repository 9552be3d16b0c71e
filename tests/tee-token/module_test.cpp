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

TEST_F(ModuleTest, RefusesArgumentsThatItCannotWorkWith) {
  EXPECT_EQ(answer(m_token->C_Initialize(nullptr)), answer(CKR_CRYPTOKI_ALREADY_INITIALIZED));
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  EXPECT_EQ(answer(m_token->C_GetInfo(nullptr)), answer(CKR_CRYPTOKI_NOT_INITIALIZED));

  CK_C_INITIALIZE_ARGS args = {};
  args.pReserved = &args;
  EXPECT_EQ(answer(m_token->C_Initialize(&args)), answer(CKR_ARGUMENTS_BAD));
  args = {};
  args.LockMutex = [](void*) -> CK_RV { return CKR_OK; };
  EXPECT_EQ(answer(m_token->C_Initialize(&args)), answer(CKR_ARGUMENTS_BAD));
  args.UnlockMutex = args.DestroyMutex = args.LockMutex;
  args.CreateMutex = [](void**) -> CK_RV { return CKR_OK; };
  EXPECT_EQ(answer(m_token->C_Initialize(&args)), OK);
}

TEST_F(ModuleTest, OffersCryptokiAndTheVendorInterfaceByName) {
  const auto get_interface = reinterpret_cast<TEE_C_GetInterface>(module_symbol("C_GetInterface"));
  TEE_INTERFACE* interface = nullptr;
  ASSERT_EQ(answer(get_interface(nullptr, nullptr, &interface, 0)), OK);
  EXPECT_EQ(interface->functions, m_token);
  unsigned char name[] = TEE_INTERFACE_NAME;
  ASSERT_EQ(answer(get_interface(name, nullptr, &interface, 0)), OK);
  EXPECT_NE(interface->functions, m_token);
  CK_VERSION later = {9, 9};
  EXPECT_EQ(answer(get_interface(name, &later, &interface, 0)), answer(CKR_FUNCTION_FAILED));
  unsigned char unknown[] = "Vendor something else";
  EXPECT_EQ(answer(get_interface(unknown, nullptr, &interface, 0)), answer(CKR_FUNCTION_FAILED));

  const auto get_list = reinterpret_cast<TEE_C_GetInterfaceList>(module_symbol("C_GetInterfaceList"));
  TEE_INTERFACE list[2];
  CK_ULONG count = 0;
  EXPECT_EQ(answer(get_list(nullptr, nullptr)), answer(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(answer(get_list(nullptr, &count)), OK);
  EXPECT_EQ(count--, 2u);
  EXPECT_EQ(answer(get_list(list, &count)), answer(CKR_BUFFER_TOO_SMALL));
  ASSERT_EQ(answer(get_list(list, &count)), OK);
  EXPECT_EQ(list[0].functions, m_token);
  EXPECT_STREQ(reinterpret_cast<const char*>(list[1].name), TEE_INTERFACE_NAME);
}

TEST_F(ModuleTest, HasNoTokenWithoutAFolderAndAnUninitialisedOneInAnEmptyFolder) {
  std::filesystem::remove_all(folder());
  CK_ULONG count = 9;
  m_token->C_Finalize(nullptr);
  ASSERT_EQ(answer(m_token->C_Initialize(nullptr)), OK);
  EXPECT_EQ(answer(m_token->C_GetSlotList(CK_TRUE, nullptr, &count)), OK);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(answer(m_token->C_GetSlotList(CK_FALSE, nullptr, &count)), OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(answer(m_token->C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &m_session)),
            answer(CKR_TOKEN_NOT_PRESENT));

  std::filesystem::create_directory(folder());
  std::filesystem::permissions(folder(), std::filesystem::perms::owner_all);
  CK_TOKEN_INFO info;
  EXPECT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), OK);
  EXPECT_EQ(info.flags & CKF_TOKEN_INITIALIZED, 0u);
  EXPECT_EQ(answer(m_token->C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &m_session)),
            answer(CKR_TOKEN_NOT_RECOGNIZED));
}

TEST_F(ModuleTest, AForkedChildInitialisesForItselfAndTheParentGoesOn) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  const pid_t child = ::fork();
  if (child == 0) {
    const bool apart = m_token->C_GetInfo(nullptr) == CKR_CRYPTOKI_NOT_INITIALIZED;
    m_token->C_Initialize(nullptr);
    open();
    const bool works = login() == OK && find().size() == 2;
    m_token->C_Finalize(nullptr);
    ::_exit(apart && works ? 0 : 1);
  }
  int status = 1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, signature), OK);
}

TEST_F(ModuleTest, ThreadsWorkInSessionsOfTheirOwnWhateverTheLocking) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  const auto work = [&] {
    CK_SESSION_HANDLE session = 0;
    CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
    unsigned char data[] = {1, 2, 3}, signature[64];
    EXPECT_EQ(answer(m_token->C_OpenSession(0, CKF_SERIAL_SESSION, nullptr, nullptr, &session)), OK);
    for (int round = 0; round < 20; ++round) {
      CK_ULONG length = sizeof signature;
      EXPECT_EQ(answer(m_token->C_SignInit(session, &mechanism, keys[1])), OK);
      EXPECT_EQ(answer(m_token->C_Sign(session, data, sizeof data, signature, &length)), OK);
    }
  };
  CK_C_INITIALIZE_ARGS of_system = {}, of_caller = {}, of_both = {};
  of_system.flags = of_both.flags = CKF_OS_LOCKING_OK;
  for (CK_C_INITIALIZE_ARGS* args : {&of_caller, &of_both}) {
    args->CreateMutex = [](void**) -> CK_RV { return CKR_MUTEX_BAD; };
    args->DestroyMutex = args->LockMutex = args->UnlockMutex = [](void*) -> CK_RV { return CKR_MUTEX_BAD; };
  }
  for (CK_C_INITIALIZE_ARGS* args : {&of_system, &of_caller, &of_both}) {
    ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
    ASSERT_EQ(answer(m_token->C_Initialize(args)), OK);
    open();
    ASSERT_EQ(login(), OK);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
}

}  // namespace
}  // namespace token_test
