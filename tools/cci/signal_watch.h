// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <signal.h>

#include <exception>
#include <iterator>

namespace cci {

/// This process was told to end. Whoever catches it ends it, by the same signal.
class Interrupted : public std::exception {
 public:
  explicit Interrupted(int signal) : m_signal(signal) {}
  const char* what() const noexcept override { return "interrupted"; }
  int signal() const { return m_signal; }

 private:
  int m_signal;
};

/// Keeps the signals by which people and programs end a process from ending the process while this is there,
/// so that it can end first what it started. One at a time.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// Throws Interrupted when there was such a signal.
  void throw_if_caught() const;

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2};
  struct sigaction m_before[std::size(kSignals)] = {};
};

}  // namespace cci
