// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "system_calls.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace bench {
namespace {

constexpr int kMark = SIGUSR1;

// The tracer sees the signal; it is not delivered.
void mark() { ::syscall(SYS_tgkill, ::getpid(), ::getpid(), kMark); }

[[noreturn]] void run_traced(const std::function<void()>& prepare, const std::function<void()>& call) {
  ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  ::raise(SIGSTOP);
  try {
    for (int round = 0; round < 2; ++round) {
      if (prepare) prepare();
      if (round == 1) mark();
      call();
    }
    mark();
    ::_exit(0);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    ::_exit(1);
  }
}

/// The number of the call that the child enters; -1 when it leaves one.
long entered_call(pid_t child) {
  __ptrace_syscall_info info{};
  ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
  return info.op == PTRACE_SYSCALL_INFO_ENTRY ? static_cast<long>(info.entry.nr) : -1;
}

}  // namespace

SystemCalls system_calls_of(const std::function<void()>& prepare, const std::function<void()>& call) {
  const pid_t child = ::fork();
  if (child == 0) run_traced(prepare, call);
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
