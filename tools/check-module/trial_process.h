// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <stdexcept>

#include "module_trial.h"

namespace tee_token_admin {

/// SIGINT, SIGTERM or SIGHUP came.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

/// Runs attempts in processes of their own, so that a module that crashes or hangs ends only those. While
/// this lives, signals that would end this process end the attempt instead. One a process.
class TrialProcesses {
 public:
  explicit TrialProcesses(std::chrono::seconds limit);
  ~TrialProcesses();
  TrialProcesses(const TrialProcesses&) = delete;
  TrialProcesses& operator=(const TrialProcesses&) = delete;

  /// What the attempt returns; wrong, when its process died, or lived for longer than the limit. What it
  /// writes to stdout goes to stderr. Throws Interrupted.
  Judgement run(const std::function<Judgement()>& attempt) const;

 private:
  [[noreturn]] void be_the_child(int result, const std::function<Judgement()>& attempt) const;
  Judgement wait_for(pid_t child, int result) const;

  std::chrono::seconds m_limit;
  sigset_t m_awaited, m_before;
};

}  // namespace tee_token_admin
