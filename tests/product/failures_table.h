// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "support/spytoken.h"

namespace ozk::tee {

/// What a failure comes to: what the caller sees, the error records, and both sets of the token afterwards.
struct Outcome {
  std::string seen;
  std::vector<std::string> errors;
  std::string installed, temporary;

  friend bool operator<(const Outcome& a, const Outcome& b) {
    return std::tie(a.seen, a.errors, a.installed, a.temporary) <
           std::tie(b.seen, b.errors, b.installed, b.temporary);
  }
};

/// A call that fails, and what each code comes to.
struct Failure {
  std::size_t position;  // among the calls, from 0
  std::string call;
  std::map<Outcome, std::vector<CK_RV>> outcomes;
};

/// One operation in one state of the token.
struct FailureTable {
  Outcome without_failure;
  std::vector<Failure> failures;       // the module did not do it
  std::vector<Failure> failures_done;  // the module did it, and says that it failed
};

extern const char* const kFailuresIntroduction;

/// A call as readers know it: what is sought, which attribute is read.
std::string describeCall(const test_support::SpiedCall& call);

/// The table in Markdown; `changes`: with what is on the token afterwards.
std::string textOf(const FailureTable& table, bool changes);

}  // namespace ozk::tee
