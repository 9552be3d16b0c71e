// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tee_token_admin {

/// What a check can find. The number is the exit code; of several findings the smallest counts.
enum class Fault {
  kFiles = 10,
  kPin,
  kOtherKey,
  kIncomplete,
  kUnreadable,
  kOrder,
  kDates,
  kUnfit,
  kTrust,
  kLeftover,
};

/// What a check has found so far.
class Findings {
 public:
  /// The text names the object, says what is wrong and what to do.
  void add(Fault fault, const std::string& text);

  bool has(Fault fault) const;
  std::size_t count() const { return m_found.size(); }

  /// 0 without findings.
  int exit_code() const;

  /// Prints a line a finding, or a JSON object with "exit_code", "findings" and "conclusion", which is the
  /// last line of the text.
  void print(const std::string& conclusion, bool json) const;

 private:
  struct Finding {
    Fault fault;
    std::string text;
  };
  std::vector<Finding> m_found;
};

/// The exit codes of a check that can tell of faults from `first` to `last`, a line each.
std::string help_on_faults(Fault first, Fault last);

}  // namespace tee_token_admin
