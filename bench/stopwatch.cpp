// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "stopwatch.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace bench {

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double median_microseconds(int rounds, const std::function<void()>& work) {
  std::vector<double> times;
  work();  // not counted: what is loaded and cached once
  for (int round = 0; round < rounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
  }
  return median(std::move(times));
}

}  // namespace bench
