// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "fake_token_test.h"
#include "support/temporary_folder.h"

namespace {

const C_InitializeArgs kOsLocking = {nullptr, nullptr, nullptr, nullptr, CKF_OS_LOCKING_OK, nullptr};

class ModuleTest : public testing::Test {
 protected:
  /// A Module that excludes others of its kind.
  static std::unique_ptr<Module> gated(const std::string& path = SPYTOKEN) {
    return std::unique_ptr<Module>(new Module(path, kOsLocking, nullptr));
  }

  ModuleTest() { fresh_fake_token(); }

  test_support::SpyToken& spy = test_support::spytoken();
};

TEST_F(ModuleTest, SaysWhyItCannotLoad) {
  EXPECT_EQ(message_of<Botan::Invalid_Argument>([] { Module(""); }), "PKCS11 no module path specified");
  EXPECT_EQ(message_of<Botan::Invalid_Argument>([] { Module("libm.so.6"); }),
            "Failed to resolve symbol C_GetFunctionList in libm.so.6");
  EXPECT_THAT(message_of<Botan::System_Error>([] { Module("/nowhere/token.so"); }),
              testing::MatchesRegex("Failed to load /nowhere/token.so: .*cannot open.* error code 0"));
}

TEST_F(ModuleTest, FinalizesEachInitializationOnceWhateverTheAnswer) {
  {
    Module first(SPYTOKEN);
    first.reload();
    spy.answer("C_Finalize", CKR_GENERAL_ERROR);
    const Module second(std::move(first));
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_Finalize",
                                            "C_GetFunctionList", "C_Initialize 2", "C_Finalize"));
  spy.answer("C_Initialize", CKR_CRYPTOKI_ALREADY_INITIALIZED);
  EXPECT_EQ(error_of([] { Module{SPYTOKEN}; }), ReturnValue::CryptokiAlreadyInitialized);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2"));
}

TEST_F(ModuleTest, UsesTheGivenFunctionsInPlaceOfTheLibrarysAlsoAfterReload) {
  static int calls = 0;
  CK_FUNCTION_LIST functions = {};
  functions.C_Finalize = functions.C_Initialize = [](void*) -> CK_RV { return ++calls, CKR_OK; };
  LowLevel low_level(&functions);
  { Module(SPYTOKEN, kOsLocking, &low_level).reload(); }
  EXPECT_EQ(calls, 4);
  EXPECT_THAT(spy.take_texts(), IsEmpty());
}

TEST_F(ModuleTest, FindsThePlatformsTokenThroughTheEnvironmentOrBesideTheLibrary) {
  ::setenv("TEE_PKCS11_MODULE", SPYTOKEN, 1);
  gated("");
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_Finalize"));
  ::setenv("TEE_PKCS11_MODULE", "/nowhere/token.so", 1);
  EXPECT_THAT(message_of<Botan::System_Error>([] { gated(""); }), testing::HasSubstr("/nowhere/token.so"));
  ::unsetenv("TEE_PKCS11_MODULE");
  const test_support::TemporaryFolder empty_token;
  ::setenv("TEE_TOKEN_DIR", empty_token.path().c_str(), 1);
  EXPECT_EQ(gated("")->get_info().cryptokiVersion.major, 2);
}

TEST_F(ModuleTest, GatedModulesOfOneProcessWaitForOneAnother) {
  for (int round = 0; round < 20; ++round) {
    std::atomic<int> arrived{0};
    const auto hold_until_all_arrived = [&] {
      ++arrived;
      const auto held = gated();
      while (arrived < 3) {
        std::this_thread::yield();
      }
    };
    std::thread one(hold_until_all_arrived), two(hold_until_all_arrived), three(hold_until_all_arrived);
    one.join(), two.join(), three.join();
    ASSERT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_Finalize",  //
                                              "C_GetFunctionList", "C_Initialize 2", "C_Finalize",  //
                                              "C_GetFunctionList", "C_Initialize 2", "C_Finalize"));
  }
}

TEST_F(ModuleTest, AThreadDoesNotWaitForItselfNorForAConstructorThatThrew) {
  auto held = gated();
  EXPECT_THROW(gated(), Botan::Invalid_State);
  EXPECT_NO_THROW(Module{SPYTOKEN}) << "a Module of two arguments is no concern of the gate";
  held.reset();
  spy.answer("C_Initialize", CKR_DEVICE_ERROR);
  EXPECT_EQ(error_of([] { gated(); }), ReturnValue::DeviceError);
  EXPECT_THROW(gated("/nowhere/token.so"), Botan::System_Error);
  spy.stop_interfering();
  EXPECT_NO_THROW(gated());
}

TEST_F(ModuleTest, TheHoldMovesWithTheModuleAndEndsOnAnyThread) {
  auto made_here = gated();
  std::unique_ptr<Module> moved(new Module(std::move(*made_here)));
  made_here.reset();
  EXPECT_THROW(gated(), Botan::Invalid_State) << "the moved Module still holds";
  std::thread([&] { moved.reset(); }).join();
  EXPECT_NO_THROW(gated());
}

TEST_F(ModuleTest, AForkedChildDoesNotWaitForItsParent) {
  auto inherited = gated();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);  // ends a child that waits for ever
    auto own = gated();
    inherited.reset();
    const bool still_held = !message_of<Botan::Invalid_State>([] { gated(); }).empty();
    ::_exit(still_held ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THROW(gated(), Botan::Invalid_State) << "the parent's hold is as before";
}

}  // namespace
