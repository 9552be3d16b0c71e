// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "measure.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace bench {
namespace {

pid_t start_child(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child != 0) return child;
  try {
    work();
    ::_exit(0);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    ::_exit(1);
  }
}

void wait_for(pid_t child) {
  int status = -1;
  if (::waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("a child process failed");
  }
}

}  // namespace

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double microseconds_of(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

std::vector<double> take_turns(const std::vector<Series>& all, int turns) {
  std::vector<std::vector<double>> times(all.size());
  for (int turn = 0; turn < turns; ++turn) {
    for (std::size_t i = 0; i < all.size(); ++i) {
      all[i].enter();
      for (int call = 0; call <= all[i].calls_a_turn; ++call) {
        if (all[i].prepare) all[i].prepare();
        const double time = microseconds_of(all[i].call);
        if (call > 0) times[i].push_back(time);
      }
    }
  }
  std::vector<double> medians;
  std::transform(times.begin(), times.end(), std::back_inserter(medians), median);
  return medians;
}

void in_children(int count, const std::function<void()>& work) {
  std::vector<pid_t> children;
  for (int i = 0; i < count; ++i) children.push_back(start_child(work));
  std::for_each(children.begin(), children.end(), wait_for);
}

}  // namespace bench
