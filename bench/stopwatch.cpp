#include "stopwatch.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

double median_microseconds(int rounds, const std::function<void()>& work) {
  std::vector<double> times;
  work();  // not counted: what is loaded and cached once
  for (int round = 0; round < rounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    work();
    times.push_back(
        std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
  }
  std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
  return times[static_cast<std::size_t>(rounds / 2)];
}

}  // namespace bench
