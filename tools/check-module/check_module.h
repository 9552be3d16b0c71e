// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "shared/token_access.h"

namespace tee_token_admin {

struct ModuleToCheck {
  std::string module;                // path of the file
  std::vector<std::string> clauses;  // empty: all
  unsigned limit = 30;               // seconds for each clause
};

/// Checks whether a PKCS#11 module does what the library needs of a token, prints the verdicts on stdout and
/// returns the exit code. Destroys the objects that it makes on the token, and no others. Throws UsageError
/// when the command line is wrong or a signal ends the check.
int check_module(Target target, const ModuleToCheck& wanted, bool json);

std::vector<std::string> names_of_clauses();

/// The verdicts and exit codes, a line each.
std::string help_on_verdicts();

}  // namespace tee_token_admin
