// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "module_clause.h"

namespace tee_token_admin {

/// Exit codes of a check that was made: the module lacks something, or only some clauses were not tried.
constexpr int kLacking = 20, kUntried = 21;

/// The judgements of a module, in the order of the clauses.
class ModuleReport {
 public:
  /// Prints a line a clause as it comes, or with `json` a JSON object at the end.
  explicit ModuleReport(bool json) : m_json(json) {}

  void add(const Clause& clause, const Judgement& judgement);

  /// Whether the clause was added, and holds.
  bool holds(const std::string& clause) const;

  /// Of an essential clause that does not hold, the exit code of the tool for that; else as above, or 0.
  int exit_code() const;

  /// Prints the conclusion.
  void finish() const;

 private:
  std::string conclusion() const;

  bool m_json;
  std::vector<std::pair<Clause, Judgement>> m_judged;
};

}  // namespace tee_token_admin
