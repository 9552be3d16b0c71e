// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "finding.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::shown;

namespace {

struct FaultName {
  Fault fault;
  const char* name;
  const char* meaning;
};

constexpr FaultName kFaults[] = {
    {Fault::kFiles, "files", "a file of the token is missing, damaged or open to others"},
    {Fault::kPin, "pin", "a PIN is locked or has one try left"},
    {Fault::kOtherKey, "other-key", "a public key or a chain is not the private key's"},
    {Fault::kIncomplete, "incomplete", "a key pair or identity lacks a part or has two; an empty chain"},
    {Fault::kUnreadable, "unreadable", "an object or certificate cannot be read; a key cannot sign"},
    {Fault::kOrder, "order", "the leaf is not first, or not each issuer is the next"},
    {Fault::kDates, "dates", "a certificate is not valid yet, no more, or not for --days"},
    {Fault::kUnfit, "unfit", "not a TLS client's certificate, or not as requested"},
    {Fault::kTrust, "trust", "a trust group is not sound, or a chain ends at no given root"},
    {Fault::kLeftover, "leftover", "something temporary that a stop left behind"},
};

const char* name_of(Fault fault) {
  const auto* const found = std::find_if(std::begin(kFaults), std::end(kFaults),
                                         [&](const FaultName& each) { return each.fault == fault; });
  return found->name;
}

}  // namespace

void Findings::add(Fault fault, const std::string& text) { m_found.push_back({fault, text}); }

bool Findings::has(Fault fault) const {
  return std::any_of(m_found.begin(), m_found.end(),
                     [&](const Finding& each) { return each.fault == fault; });
}

int Findings::exit_code() const {
  const auto worst =
      std::min_element(m_found.begin(), m_found.end(),
                       [](const Finding& one, const Finding& other) { return one.fault < other.fault; });
  return worst == m_found.end() ? 0 : static_cast<int>(worst->fault);
}

void Findings::print(const std::string& conclusion, bool json) const {
  nlohmann::ordered_json result = {{"exit_code", exit_code()}, {"conclusion", conclusion}};
  result["findings"] = nlohmann::ordered_json::array();
  for (const Finding& each : m_found) {
    result["findings"].push_back({{"class", name_of(each.fault)}, {"text", each.text}});
    if (!json) {
      std::cout << name_of(each.fault) << ": " << shown(each.text) << "\n";
    }
  }
  std::cout << (json ? result.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                     : conclusion)
            << "\n";
}

std::string help_on_faults(Fault first, Fault last) {
  std::string help = "Exit code: 0 all is well; of several findings, the smallest of\n";
  for (const FaultName& each : kFaults) {
    if (each.fault < first || each.fault > last) {
      continue;
    }
    const std::string name = each.name;
    help += "  " + std::to_string(static_cast<int>(each.fault)) + " " + name +
            std::string(12 - name.size(), ' ') + each.meaning + "\n";
  }
  return help;
}

}  // namespace tee_token_admin
