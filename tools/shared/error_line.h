// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "base/cryptoki.h"

namespace tee_token_admin {

/// Collects the failure lines of the platform's module, which say more than a code can. Make it before the
/// module is loaded.
class FailureLines {
 public:
  FailureLines();
  ~FailureLines();
  FailureLines(const FailureLines&) = delete;
  FailureLines& operator=(const FailureLines&) = delete;

  /// The last line so far, without its end; empty when the module wrote none.
  std::string last() const;

 private:
  int m_file;  // in memory
};

/// Exit codes when a command was not carried out.
constexpr int kFailed = 1, kWrongUsage = 2, kWrongPin = 3, kNoToken = 4, kUnusable = 5;

/// The exit code for a token's answer.
int exit_code_of(CK_RV code);

/// The exit codes, a line each.
std::string help_on_exit_codes();

/// The one line that tells a user what a token's answer means and what to do about it.
std::string error_line(CK_RV code, const FailureLines& lines);

}  // namespace tee_token_admin
