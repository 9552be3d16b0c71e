// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "report.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "check_module.h"
#include "shared/error_line.h"
#include "shared/shown_text.h"

namespace tee_token_admin {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kLacking = 20, kUntried = 21;
constexpr std::size_t kColumn = 11, kWidth = 100;
constexpr const char* kVerdicts[] = {"ok", "missing", "wrong", "not tried", "measured", "slow"};

std::string name_of(Verdict verdict) { return kVerdicts[static_cast<std::size_t>(verdict)]; }

bool is_fault(const Judgement& judgement) {
  return judgement.verdict == Verdict::kMissing || judgement.verdict == Verdict::kWrong;
}

/// Prints the text in the column behind the verdict, wrapped at blanks.
void print(const std::string& verdict, const std::string& text) {
  std::istringstream words(text);
  std::string line = verdict + std::string(kColumn - verdict.size(), ' '), word;
  for (bool first = true; words >> word; first = false) {
    if (!first && line.size() + 1 + word.size() > kWidth) {
      std::cout << line << "\n";
      line = std::string(kColumn, ' ');
      first = true;
    }
    line += (first ? "" : " ") + word;
  }
  std::cout << line << std::endl;
}

void print_line(const Clause& clause, const Judgement& judgement) {
  const std::string text = judgement.text.empty() ? clause.tried : shown_text::shown(judgement.text);
  print(name_of(judgement.verdict), clause.name + ": " + text);
  if (is_fault(judgement) || judgement.verdict == Verdict::kSlow) {
    print("", "-> " + clause.needed);
  }
}

}  // namespace

void ModuleReport::add(const Clause& clause, const Judgement& judgement) {
  m_judged.emplace_back(clause, judgement);
}

void ModuleReport::print_last() const {
  const auto& [clause, judgement] = m_judged.back();
  const std::string failed = failed_essential();
  if (!m_json && (failed.empty() || failed == clause.name)) {
    print_line(clause, judgement);
  }
}

bool ModuleReport::holds(const std::string& clause) const {
  return std::any_of(m_judged.begin(), m_judged.end(),
                     [&](const auto& each) { return each.first.name == clause && each.second.holds(); });
}

std::string ModuleReport::failed_essential() const {
  for (const auto& [clause, judgement] : m_judged) {
    if (clause.kind == Clause::Kind::kEssential && !judgement.holds()) {
      return clause.name;
    }
  }
  return "";
}

std::string ModuleReport::lacking(const Clause& clause) const {
  std::string lacking = failed_essential();
  if (lacking.empty()) {
    for (const std::string& need : clause.needs) {
      lacking += holds(need) ? "" : (lacking.empty() ? "" : ", ") + need;
    }
  }
  return lacking;
}

int ModuleReport::exit_code() const {
  int code = 0;
  for (const auto& [clause, judgement] : m_judged) {
    if (clause.kind == Clause::Kind::kEssential && !judgement.holds()) {
      const int known = exit_code_of(judgement.code);
      return known == kFailed ? kUnusable : known;
    }
    if (is_fault(judgement)) {
      code = kLacking;
    } else if (!judgement.holds() && code == 0) {
      code = kUntried;
    }
  }
  return code;
}

std::string ModuleReport::conclusion() const {
  std::string text;
  for (std::size_t verdict = 0; verdict < std::size(kVerdicts); ++verdict) {
    const auto count = std::count_if(m_judged.begin(), m_judged.end(), [&](const auto& each) {
      return static_cast<std::size_t>(each.second.verdict) == verdict;
    });
    if (count > 0) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + kVerdicts[verdict];
    }
  }
  return text;
}

void ModuleReport::finish() const {
  if (m_json) {
    Json result = {{"exit_code", exit_code()}, {"conclusion", conclusion()}, {"clauses", Json::array()}};
    for (const auto& [clause, judgement] : m_judged) {
      result["clauses"].push_back({{"clause", clause.name},
                                   {"verdict", name_of(judgement.verdict)},
                                   {"tried", clause.tried},
                                   {"found", judgement.text},
                                   {"needed", clause.needed}});
    }
    std::cout << result.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    return;
  }
  const std::string failed = failed_essential();
  if (!failed.empty()) {
    const auto untried = std::count_if(m_judged.begin(), m_judged.end(), [](const auto& each) {
      return each.second.verdict == Verdict::kNotTried;
    });
    print(name_of(Verdict::kNotTried), "the other " + std::to_string(untried) + " clauses: need " + failed);
  }
  std::cout << conclusion() << "\n";
}

std::string help_on_verdicts() {
  return "Verdicts: ok; missing (the module refuses), wrong (it does otherwise, dies or\n"
         "hangs), not tried; measured, or slow (over 1 s).\n"
         "Exit code: 0 all ok or measured, 20 something is missing or wrong, 21 only\n"
         "that something was not tried; 3, 4 and 5, as of other commands, when the\n"
         "module, its token or the login fails\n";
}

}  // namespace tee_token_admin
