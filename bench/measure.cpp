// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "measure.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
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

constexpr int kMark = SIGUSR1;

// The tracer sees the signal; it is not delivered.
void mark() { ::syscall(SYS_tgkill, ::getpid(), ::getpid(), kMark); }

void run_traced(const std::function<void()>& prepare, const std::function<void()>& call) {
  ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  ::raise(SIGSTOP);
  for (int round = 0; round < 2; ++round) {
    if (prepare) prepare();
    if (round == 1) mark();
    call();
  }
  mark();
}

/// The number of the call that the child enters; -1 when it leaves one.
long entered_call(pid_t child) {
  __ptrace_syscall_info info{};
  ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
  return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
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

SystemCalls system_calls_of(const std::function<void()>& prepare, const std::function<void()>& call) {
  const pid_t child = start_child([&] { run_traced(prepare, call); });
  int status = 0;
  ::waitpid(child, &status, 0);
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  constexpr int kCallsOfAMark = 3;  // two getpid and one tgkill
  SystemCalls counted{-kCallsOfAMark, 0};
  bool is_counting = false;
  while (true) {
    ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    if (::waitpid(child, &status, 0) != child) throw std::runtime_error("the traced process is lost");
    if (!WIFSTOPPED(status)) break;
    if (WSTOPSIG(status) == kMark) is_counting = !is_counting;
    const long entered = WSTOPSIG(status) == (SIGTRAP | 0x80) && is_counting ? entered_call(child) : -1;
    counted.all += entered < 0 ? 0 : 1;
    counted.syncs += entered == SYS_fsync || entered == SYS_fdatasync ? 1 : 0;
  }
  if (status != 0) throw std::runtime_error("the traced process failed");
  return counted;
}

}  // namespace bench
