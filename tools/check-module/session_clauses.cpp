// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iterator>
#include <sstream>

#include "base/error.h"
#include "marked_objects.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::size_t kPinLength = 9;
constexpr int kCycles = 100, kFirstCycles = 5;  // the first ones may open files that stay open
constexpr std::ptrdiff_t kStrayFiles = 2;
constexpr int kRounds = 25;
constexpr auto kLongEnough = std::chrono::seconds(5);  // fewer rounds then
constexpr double kSlow = 1000;                         // milliseconds

std::ptrdiff_t open_files() {
  const std::filesystem::directory_iterator files("/proc/self/fd");
  return std::distance(begin(files), end(files));
}

/// A login with a wrong PIN could cost the user's last try.
void require_tries(const Target& target) {
  OpenSlot open(target, true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  if ((flags & (CKF_USER_PIN_LOCKED | CKF_USER_PIN_FINAL_TRY)) != 0) {
    throw TrialEnd{{Verdict::kNotTried, "the user's PIN is locked or has one try left", CKR_PIN_LOCKED}};
  }
}

/// Whether the trial's private object is found.
void require_found(const Trial& trial, TokenSession& token, bool wanted) {
  const bool found = !token.find(labelled(trial.mark().label())).empty();
  trial.require(found == wanted, std::string("a private object is ") + (found ? "" : "not ") + "found");
}

/// Everything of the clause up to C_Finalize; the object stays.
void require_login_for_private_object(Trial& trial) {
  TokenSession user(trial.target());
  user.login(UserType::User);
  create_data(trial, user, "private");
  trial.step("after C_Login");
  require_found(trial, user, true);
  const CK_RV code = return_value_of([&] { user.login(UserType::User); });
  trial.require(code == CKR_USER_ALREADY_LOGGED_IN,
                tee_token::return_value_name(code) + " instead of CKR_USER_ALREADY_LOGGED_IN");
  trial.step("C_Logout");
  user.session().logoff();
  trial.step("after C_Logout");
  require_found(trial, user, false);
}

Judgement median_of(const std::function<void()>& operation) {
  std::vector<double> times;
  const auto begin = std::chrono::steady_clock::now();
  while (times.size() < kRounds && std::chrono::steady_clock::now() - begin < kLongEnough) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    times.push_back(Milliseconds(std::chrono::steady_clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  const double milliseconds = times[times.size() / 2];
  std::ostringstream text;
  text << "median " << std::setprecision(3) << milliseconds << " ms";
  return {milliseconds > kSlow ? Verdict::kSlow : Verdict::kMeasured, text.str()};
}

}  // namespace

Judgement loads(Trial& trial) {
  try {
    Botan::Dynamically_Loaded_Library library(trial.target().module);
    FunctionListPtr functions = nullptr;
    LowLevel::C_GetFunctionList(library, &functions);
    trial.step("C_GetFunctionList");
    trial.require(functions != nullptr, "returns no list");
    return {};
  } catch (const Botan::Exception& error) {
    return {Verdict::kMissing, error.what()};
  }
}

Judgement has_an_initialised_token(Trial& trial) {
  trial.step("C_Initialize, and the first slot with a token");
  OpenSlot open(trial.target(), true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  if ((flags & CKF_TOKEN_INITIALIZED) == 0) {
    throw PKCS11_ReturnError(ReturnValue::TokenNotRecognized);
  }
  if ((flags & CKF_USER_PIN_INITIALIZED) == 0) {
    throw PKCS11_ReturnError(ReturnValue::UserPinNotInitialized);
  }
  return {};
}

Judgement logs_the_user_in(Trial& trial) {
  trial.step("C_GetTokenInfo");
  require_tries(trial.target());
  const UserSession user(trial);
  return {};
}

// The login clause has shown that the module accepts the user's PIN.
Judgement takes_the_librarys_pin(Trial& trial) {
  const secure_string pin = user_pin(trial.target());
  if (pin.size() == kPinLength && pin.back() == 0) {
    return {};
  }
  trial.step("C_GetTokenInfo");
  OpenSlot open(trial.target(), true);
  const CK_ULONG longest = open.slot().get_token_info().ulMaxPinLen;
  if (longest < kPinLength) {
    return {Verdict::kMissing, "PINs have at most " + std::to_string(longest) + " bytes"};
  }
  return {Verdict::kNotTried, "the PIN of --pin-hex is not like the library's"};
}

Judgement closes_all_files(Trial& trial) {
  std::ptrdiff_t before = 0;
  for (int cycle = 0; cycle < kCycles; ++cycle) {
    if (cycle == kFirstCycles) {
      before = open_files();
    }
    TokenSession user(trial.target());
    user.login(UserType::User);
  }
  const std::ptrdiff_t more = open_files() - before;
  trial.step(std::to_string(kCycles - kFirstCycles) + " times from C_Initialize to C_Finalize");
  trial.require(more <= kStrayFiles, std::to_string(more) + " more files are open");
  return {};
}

Judgement hides_private_objects_without_login(Trial& trial) {
  require_login_for_private_object(trial);
  {
    TokenSession nobody(trial.target());
    trial.step("after C_Finalize and C_Initialize, without login");
    require_found(trial, nobody, false);
  }
  UserSession user(trial);
  require_found(trial, user, true);
  return {};
}

Judgement measures_a_signature(Trial& trial) {
  UserSession user(trial);
  const PKCS11_ECDSA_PrivateKey key(user.session(), generate_standard(trial, user)[1]);
  trial.step("a signature");
  return median_of([&] { signature_of(key, std::vector<std::uint8_t>(32, 'm')); });
}

Judgement measures_a_session(Trial& trial) {
  return median_of([&] {
    TokenSession user(trial.target());
    user.login(UserType::User);
    user.find(labelled(trial.mark().label()));
  });
}

}  // namespace tee_token_admin
