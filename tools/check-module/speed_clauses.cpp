// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <chrono>
#include <functional>
#include <iomanip>
#include <sstream>

#include "marked_objects.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kRounds = 25;
constexpr auto kLongEnough = std::chrono::seconds(5);  // fewer rounds then
constexpr double kSlow = 1000;                         // milliseconds

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
