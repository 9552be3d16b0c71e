// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "clause.h"

namespace tee_token_admin {

/// The judgements on a module, in the order of the clauses.
class ModuleReport {
 public:
  /// With `json`, only `finish` prints.
  explicit ModuleReport(bool json) : m_json(json) {}

  void add(const Clause& clause, const Judgement& judgement);

  /// Prints the judgement that was added last.
  void print_last() const;

  /// Whether the clause was added, and holds.
  bool holds(const std::string& clause) const;

  /// Names what the clause needs and does not have; empty when it can be tried.
  std::string lacking(const Clause& clause) const;

  /// 0 when all clauses hold; 20 when the module lacks something, 21 when clauses were only not tried.
  /// Without an essential clause the tool's exit code for its failure.
  int exit_code() const;

  /// Prints the conclusion, or all as a JSON object.
  void finish() const;

 private:
  std::string failed_essential() const;
  std::string conclusion() const;

  bool m_json;
  std::vector<std::pair<Clause, Judgement>> m_judged;
};

}  // namespace tee_token_admin
