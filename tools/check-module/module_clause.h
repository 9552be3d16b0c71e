// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "module_trial.h"

namespace tee_token_admin {

/// Something that the library needs of a module.
struct Clause {
  enum class Kind {
    kEssential,  // without it nothing else can be tried
    kReading,
    kMaking,  // makes objects
  };

  std::string name;
  Kind kind;
  std::vector<std::string> needs;  // clauses before it that must hold
  Judgement (*attempt)(Trial& trial);
  std::string tried;
  std::string needed;  // what the module has to do, and why
};

/// All clauses, in the order in which they are tried.
const std::vector<Clause>& module_clauses();

}  // namespace tee_token_admin
