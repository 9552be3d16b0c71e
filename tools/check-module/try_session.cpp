// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>

#include <filesystem>

#include "base/return_value_name.h"
#include "module_trials.h"
#include "scratch_area.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

constexpr std::size_t kPinLength = 9;
constexpr int kCycles = 100, kFirstCycles = 5;  // the first may open what stays open
constexpr std::ptrdiff_t kStrayFiles = 2;

std::ptrdiff_t open_files() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::distance(begin(files), end(files));
}

/// A login would cost the user his last try if the PIN were wrong.
void require_tries(const Target& target) {
  OpenSlot open(target, true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  if ((flags & (CKF_USER_PIN_LOCKED | CKF_USER_PIN_FINAL_TRY)) != 0) {
    throw TrialEnd({Verdict::kNotTried, "the user's PIN is locked or has one try left", CKR_PIN_LOCKED});
  }
}

ReturnValue answer_to_login(TokenSession& user, Trial& trial) {
  try {
    user.session().login(UserType::User, user_pin(trial.target()));
    return ReturnValue::OK;
  } catch (const PKCS11_ReturnError& error) {
    return error.get_return_value();
  }
}

void require_data(Trial& trial, TokenSession& token, std::size_t count) {
  const std::size_t found = token.find(labelled(kScratchData)).size();
  trial.require(found == count, "a private object is " + std::string(found == 0 ? "not " : "") + "found");
}

void try_logout(Trial& trial) {
  ScratchSession user(trial);
  trial.step("C_CreateObject of a private object");
  make_data(user, "private");
  trial.step("after C_Login");
  require_data(trial, user, 1);
  trial.step("a second C_Login");
  const ReturnValue answer = answer_to_login(user, trial);
  trial.require(
      answer == ReturnValue::UserAlreadyLoggedIn,
      tee_token::return_value_name(static_cast<CK_RV>(answer)) + " instead of CKR_USER_ALREADY_LOGGED_IN");
  trial.step("C_Logout");
  user.session().logoff();
  trial.step("after C_Logout");
  require_data(trial, user, 0);
}

}  // namespace

Judgement try_load(Trial& trial) {
  try {
    Botan::Dynamically_Loaded_Library library(trial.target().module);
    FunctionListPtr functions = nullptr;
    LowLevel::C_GetFunctionList(library, &functions);
    trial.step("C_GetFunctionList");
    trial.require(functions != nullptr, "gives no list");
    return {Verdict::kOk, ""};
  } catch (const Botan::Exception& error) {
    return {Verdict::kMissing, error.what()};
  }
}

Judgement try_token(Trial& trial) {
  trial.step("C_Initialize, and the first slot with a token");
  OpenSlot open(trial.target(), true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  if ((flags & CKF_TOKEN_INITIALIZED) == 0) {
    throw PKCS11_ReturnError(ReturnValue::TokenNotRecognized);
  }
  if ((flags & CKF_USER_PIN_INITIALIZED) == 0) {
    throw PKCS11_ReturnError(ReturnValue::UserPinNotInitialized);
  }
  return {Verdict::kOk, ""};
}

Judgement try_login(Trial& trial) {
  trial.step("C_GetTokenInfo");
  require_tries(trial.target());
  const UserSession user(trial);
  return {Verdict::kOk, ""};
}

Judgement try_pin(Trial& trial) {
  const secure_string pin = user_pin(trial.target());
  if (pin.size() == kPinLength && pin.back() == 0) {
    return {Verdict::kOk, ""};
  }
  trial.step("C_GetTokenInfo");
  OpenSlot open(trial.target(), true);
  const CK_ULONG longest = open.slot().get_token_info().ulMaxPinLen;
  if (longest < kPinLength) {
    return {Verdict::kMissing, "PINs have at most " + std::to_string(longest) + " bytes"};
  }
  return {Verdict::kNotTried, "the PIN of --pin-hex is not like the library's"};
}

Judgement try_cycles(Trial& trial) {
  std::ptrdiff_t before = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kFirstCycles) {
      before = open_files();
    }
    const UserSession user(trial);
  }
  const std::ptrdiff_t more = open_files() - before;
  trial.step(std::to_string(kCycles - kFirstCycles) + " times from C_Initialize to C_Finalize");
  trial.require(more <= kStrayFiles, std::to_string(more) + " more files are open");
  return {Verdict::kOk, ""};
}

Judgement try_login_rules(Trial& trial) {
  try_logout(trial);
  TokenSession anew(trial.target());
  trial.step("after C_Finalize and C_Initialize, without login");
  require_data(trial, anew, 0);
  trial.step("C_Login after C_Finalize and C_Initialize");
  anew.login(UserType::User);
  require_data(trial, anew, 1);
  return {Verdict::kOk, ""};
}

}  // namespace tee_token_admin
