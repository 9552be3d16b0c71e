// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "module_report.h"

#include "check_module.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "shared/error_line.h"
#include "shared/shown_text.h"
#include "wrapped_text.h"

namespace tee_token_admin {
namespace {

using shown_text::shown;
using Json = nlohmann::ordered_json;

constexpr std::size_t kColumn = 11, kWidth = 100;

constexpr const char* kVerdicts[] = {"ok", "missing", "wrong", "not tried", "measured", "slow"};

std::string name_of(Verdict verdict) { return kVerdicts[static_cast<std::size_t>(verdict)]; }

bool is_fault(const Judgement& judgement) {
  return judgement.verdict == Verdict::kMissing || judgement.verdict == Verdict::kWrong;
}

bool is_to_be_changed(const Judgement& judgement) {
  return is_fault(judgement) || judgement.verdict == Verdict::kSlow;
}

Json described(const Clause& clause, const Judgement& judgement) {
  return {{"clause", clause.name},
          {"verdict", name_of(judgement.verdict)},
          {"tried", clause.tried},
          {"found", judgement.text},
          {"needed", clause.needed}};
}

void print_line(const Clause& clause, const Judgement& judgement) {
  const std::string verdict = name_of(judgement.verdict);
  const std::string text =
      clause.name + ": " + (judgement.text.empty() ? clause.tried : shown(judgement.text));
  std::cout << verdict << std::string(kColumn - verdict.size(), ' ') << wrapped(text, kColumn, kWidth)
            << "\n";
  if (is_to_be_changed(judgement)) {
    std::cout << std::string(kColumn, ' ') << wrapped("-> " + clause.needed, kColumn, kWidth) << "\n";
  }
  std::cout << std::flush;
}

}  // namespace

void ModuleReport::add(const Clause& clause, const Judgement& judgement) {
  m_judged.emplace_back(clause, judgement);
  if (!m_json) {
    print_line(clause, judgement);
  }
}

bool ModuleReport::holds(const std::string& clause) const {
  return std::any_of(m_judged.begin(), m_judged.end(),
                     [&](const auto& each) { return each.first.name == clause && each.second.holds(); });
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
  if (!m_json) {
    std::cout << conclusion() << "\n";
    return;
  }
  Json result = {{"exit_code", exit_code()}, {"conclusion", conclusion()}, {"clauses", Json::array()}};
  for (const auto& [clause, judgement] : m_judged) {
    result["clauses"].push_back(described(clause, judgement));
  }
  std::cout << result.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

std::string help_on_verdicts() {
  return "Verdicts: ok; missing (the module refuses), wrong (it does otherwise, dies or\n"
         "hangs), not tried; measured, or slow (over 1 s).\n"
         "Exit code: 0 all there, 20 something is missing or wrong, 21 nothing is but\n"
         "something was not tried; 3, 4 and 5, as of other commands, when no more could\n"
         "be tried\n";
}

}  // namespace tee_token_admin
