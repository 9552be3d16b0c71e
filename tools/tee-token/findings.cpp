// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "checks.h"
#include "shared/shown_text.h"

namespace tee_token_admin {
namespace {

struct FaultName {
  const char* name;
  const char* meaning;
};

// In the order of Fault.
constexpr FaultName kFaults[] = {
    {"files", "a file is missing, damaged, open or not writable; full disk"},
    {"pin", "a PIN is locked or has one try left"},
    {"other-key", "a public key or a chain does not match the private key"},
    {"incomplete", "a part of a key pair or identity is missing or doubled; empty chain"},
    {"unreadable", "an object or certificate cannot be read; a key cannot sign"},
    {"order", "the leaf is not first, or a certificate is not issued by the next"},
    {"dates", "a certificate is not yet valid, has expired, or will within --days"},
    {"unfit", "not a TLS client's certificate, or not as requested"},
    {"trust", "a trust group is inconsistent, or a chain ends at no given root"},
    {"leftover", "temporary objects or files of an interrupted run"},
};

const FaultName& name_of(Fault fault) {
  return kFaults[static_cast<int>(fault) - static_cast<int>(Fault::kFiles)];
}

}  // namespace

int Findings::exit_code() const {
  int code = 0;
  for (const Finding& each : m_found) {
    const int found = static_cast<int>(each.fault);
    code = code == 0 ? found : std::min(code, found);
  }
  return code;
}

void Findings::print(const std::string& conclusion, bool json) const {
  nlohmann::ordered_json result = {{"exit_code", exit_code()}, {"conclusion", conclusion}};
  result["findings"] = nlohmann::ordered_json::array();
  for (const Finding& each : m_found) {
    const char* const name = name_of(each.fault).name;
    result["findings"].push_back({{"class", name}, {"text", each.text}});
    if (!json) {
      std::cout << name << ": " << shown_text::shown(each.text) << "\n";
    }
  }
  std::cout << (json ? result.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                     : conclusion)
            << "\n";
}

std::string help_on_faults(Fault first, Fault last) {
  std::string help = "Exit code: 0 nothing found; of several findings, the smallest of\n";
  for (int code = static_cast<int>(first); code <= static_cast<int>(last); ++code) {
    const FaultName& fault = name_of(static_cast<Fault>(code));
    const std::string name = fault.name;
    help +=
        "  " + std::to_string(code) + " " + name + std::string(12 - name.size(), ' ') + fault.meaning + "\n";
  }
  return help;
}

}  // namespace tee_token_admin
