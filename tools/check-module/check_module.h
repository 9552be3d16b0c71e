// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "shared/token_access.h"

namespace tee_token_admin {

struct ModuleToCheck {
  std::string module;                // a file
  std::vector<std::string> clauses;  // none: all
  unsigned limit = 30;               // seconds for each
};

/// Tries whether a PKCS#11 module gives what the library needs of a token, says it on stdout and returns the
/// exit code. What it makes on the token carries marks of its own and is destroyed again.
int check_module(Target target, const ModuleToCheck& wanted, bool json);

std::vector<std::string> names_of_clauses();

/// The verdicts and exit codes, a line each.
std::string help_on_verdicts();

}  // namespace tee_token_admin
