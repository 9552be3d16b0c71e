// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "shared/chain_rule.h"
#include "shared/token_access.h"

namespace tee_token_admin {

/// The classes of findings. The number is the exit code; of several findings the smallest counts.
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
  void add(Fault fault, const std::string& text) { m_found.push_back({fault, text}); }

  std::size_t count() const { return m_found.size(); }

  /// 0 without findings.
  int exit_code() const;

  /// Prints a line a finding and then the conclusion, or a JSON object with "exit_code", "findings" and
  /// "conclusion".
  void print(const std::string& conclusion, bool json) const;

 private:
  struct Finding {
    Fault fault;
    std::string text;
  };
  std::vector<Finding> m_found;
};

/// The exit codes of a check that finds faults from `first` to `last`, for a help text.
std::string help_on_faults(Fault first, Fault last);

// The parts of `check`; a certificate is a finding when it is out of date now or will be in `days`.

/// Checks each client's keys and chains: that parts are complete, keys sign and match, chains are usable, and
/// that there are no temporary objects that no operation will use. The user must be logged in.
void check_identities(Findings& findings, TokenSession& token, unsigned days);

/// Checks single certificates, and trust groups: that roots have their group, once, and are CA certificates.
void check_certificates(Findings& findings, TokenSession& token, unsigned days);

/// Runs a step with an object. An object that cannot be read or used is a finding, one that another program
/// has destroyed is not.
void examine(Findings& findings, Botan::PKCS11::ObjectHandle object, const std::function<void()>& step);

/// Adds what is wrong with a chain; `name` begins the text of a finding.
void add_all(Findings& findings, const std::string& name, const tools::ChainFindings& found);

}  // namespace tee_token_admin
