// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <array>

#include "base/file_descriptor.h"
#include "module_trial.h"

namespace tee_token_admin {

/// A second process with a session of its own, in which the user is logged in. It must begin before this
/// process loads the module.
class ModuleWitness {
 public:
  explicit ModuleWitness(const Target& target);
  /// Waits for it to end its session: a token may keep what a process leaves that is killed.
  ~ModuleWitness();
  ModuleWitness(const ModuleWitness&) = delete;
  ModuleWitness& operator=(const ModuleWitness&) = delete;

  /// How many of the scratch area's data objects it finds now, up to 100; less than 0 when it cannot tell.
  int count() const;

 private:
  ModuleWitness(const Target& target, const std::array<int, 2>& ends);

  tee_token::FileDescriptor m_here;
  pid_t m_process;
};

}  // namespace tee_token_admin
