// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/pubkey.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

#include "layer_test.h"

/// The same in a forked child, as it may be in a PID namespace of its own.
extern "C" pid_t getpid() noexcept {
  static const long first = ::syscall(SYS_getpid);
  return static_cast<pid_t>(first);
}

namespace {

/// A Module that excludes others of its kind.
std::unique_ptr<Module> gated(const std::string& library = SPYTOKEN) {
  return std::make_unique<Module>(library, C_InitializeArgs{}, nullptr);
}

class ModuleTest : public testing::Test {
 protected:
  ModuleTest() {
    spy.reset();
    ::setenv("SPYTOKEN_MODULE", BUILT_TOKEN, 1);
    ::setenv("TEE_TOKEN_DIR", "/nowhere", 1);
  }

  test_support::SpyToken& spy = test_support::spytoken();
};

TEST_F(ModuleTest, FinalizesEachInitializationOnceEvenIfThatFails) {
  {
    Module first(SPYTOKEN);
    first.reload();
    spy.answer("C_Finalize", CKR_GENERAL_ERROR);
    const Module second(std::move(first));
  }
  spy.module().cryptoki->C_Finalize(nullptr);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_Finalize",
                                            "C_GetFunctionList", "C_Initialize 2", "C_Finalize"));
  spy.answer("C_Initialize", CKR_CRYPTOKI_ALREADY_INITIALIZED);
  EXPECT_CODE(CKR_CRYPTOKI_ALREADY_INITIALIZED, gated());
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 0"));
}

TEST_F(ModuleTest, FindsThePlatformsTokenOrSaysWhatItCannotLoad) {
  EXPECT_EQ(Module("", {}, nullptr).get_info().cryptokiVersion.major, 2) << "beside the layer";
  ::setenv("TEE_PKCS11_MODULE", "/nowhere/token.so", 1);
  EXPECT_THAT(message_of<Botan::System_Error>([] { gated(""); }),
              testing::MatchesRegex("Failed to load /nowhere/token.so: .*cannot open[^0]*"));
  EXPECT_EQ(message_of<Botan::Invalid_Argument>([] { Module("libm.so.6"); }),
            "Failed to resolve symbol C_GetFunctionList in libm.so.6");
}

TEST_F(ModuleTest, TheHoldMovesWithTheModuleAndEndsOnAnyThreadAndIfAConstructorThrows) {
  auto made_here = gated();
  std::unique_ptr<Module> moved(new Module(std::move(*made_here)));
  made_here.reset();
  EXPECT_THROW(gated(), Botan::Invalid_State) << "a thread does not wait for itself";
  EXPECT_CODE(CKR_CRYPTOKI_ALREADY_INITIALIZED, Module{SPYTOKEN}) << "one of two arguments does not wait";
  std::thread([&] { moved.reset(); }).join();
  spy.answer("C_Initialize", CKR_DEVICE_ERROR);
  EXPECT_CODE(CKR_DEVICE_ERROR, gated());
  EXPECT_THROW(gated("/nowhere/token.so"), Botan::System_Error);
  spy.stop_interfering();
  EXPECT_NO_THROW(gated());
}

using InheritedTest = SpiedTest;

TEST_F(InheritedTest, ObjectsNeitherStopAForkedChildNorMakeCallsWhenItDestroysThem) {
  Botan::AutoSeeded_RNG rng;
  const auto pair = generate_ecdsa_keypair(session, params(Botan::EC_Group("secp256r1")), {});
  Botan::PK_Signer signer(pair.second, rng, "EMSA1(SHA-256)");
  signer.update("begun");
  Session other(slot, true);
  ObjectFinder finder(other, {});
  const auto child = [&] {
    ::alarm(60);  // ends a child that waits for ever
    spy.answer("C_Initialize", CKR_OK);
    const auto own = gated();
    spy.take_calls();
    finder.~ObjectFinder(), signer.~PK_Signer(), session.~Session(), module.~Module();
    const bool calls = !spy.take_calls().empty();
    ::_exit(calls || message_of<Botan::Invalid_State>([] { gated(); }).empty() ? 1 : 0);
  };
  EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
  EXPECT_THROW(gated(), Botan::Invalid_State) << "the parent still holds";
  EXPECT_EQ(finder.find().size(), 2U) << "the parent's search is still active";
  EXPECT_EQ(signer.signature(rng).size(), 64U);
}

}  // namespace
