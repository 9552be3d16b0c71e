// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <chrono>
#include <functional>
#include <iomanip>
#include <sstream>

#include "module_trials.h"
#include "scratch_keys.h"

namespace tee_token_admin {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kRounds = 25;
constexpr auto kLongEnough = std::chrono::seconds(5);  // fewer rounds then
constexpr double kSlow = 1000;                         // milliseconds

double median_of(const std::function<void()>& operation) {
  std::vector<double> times;
  const auto begin = std::chrono::steady_clock::now();
  while (times.size() < kRounds && std::chrono::steady_clock::now() - begin < kLongEnough) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    times.push_back(Milliseconds(std::chrono::steady_clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  return times[times.size() / 2];
}

Judgement judgement_of(double milliseconds) {
  std::ostringstream text;
  text << "median " << std::setprecision(3) << milliseconds << " ms";
  return {milliseconds > kSlow ? Verdict::kSlow : Verdict::kMeasured, text.str()};
}

}  // namespace

Judgement measure_signature(Trial& trial) {
  ScratchSession user(trial);
  const ScratchPair pair = make_pair(trial, user, kScratchKeys);
  trial.step("a signature");
  return judgement_of(median_of([&] { sign(pair.second, std::vector<std::uint8_t>(32, 'm')); }));
}

Judgement measure_session(Trial& trial) {
  return judgement_of(median_of([&] {
    UserSession user(trial);
    user.find(labelled(kScratchData));
  }));
}

}  // namespace tee_token_admin
