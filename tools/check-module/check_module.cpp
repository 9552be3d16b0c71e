// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "check_module.h"

#include <algorithm>
#include <set>

#include "module_clause.h"
#include "module_report.h"
#include "scratch_area.h"
#include "trial_process.h"

namespace tee_token_admin {
namespace {

/// Those named, with what they need and what nothing can do without; all when none is named.
std::set<std::string> chosen(const std::vector<std::string>& names) {
  std::set<std::string> all(names.begin(), names.end());
  const auto& clauses = module_clauses();
  std::for_each(clauses.rbegin(), clauses.rend(), [&](const Clause& clause) {
    if (names.empty() || clause.kind == Clause::Kind::kEssential || &clause == &clauses.back()) {
      all.insert(clause.name);
    }
    if (all.count(clause.name) != 0) {
      all.insert(clause.needs.begin(), clause.needs.end());
    }
  });
  return all;
}

/// What the clause needs and does not have.
std::string lacking_of(const Clause& clause, const ModuleReport& report) {
  std::string lacking;
  for (const std::string& need : clause.needs) {
    if (!report.holds(need)) {
      lacking += (lacking.empty() ? "" : ", ") + need;
    }
  }
  return lacking;
}

/// The battery. The module is only loaded in the processes of the clauses.
class ModuleCheck {
 public:
  ModuleCheck(const Target& target, std::chrono::seconds limit) : m_target(target), m_processes(limit) {}

  void run(ModuleReport& report, const std::set<std::string>& names) {
    for (const Clause& clause : module_clauses()) {
      if (names.count(clause.name) != 0) {
        report.add(clause, judge(clause, report));
      }
    }
  }

  /// Text that says whether something is left.
  std::string clear_after_interruption() {
    if (!m_made) {
      return "nothing was made";  // and perhaps no PIN was tried: a login could cost a try
    }
    try {
      const Judgement cleared = clear();
      return cleared.holds() ? "nothing of it is left on the token" : cleared.text;
    } catch (const Interrupted&) {
      return "objects of the client 'tee-token check-module' may be left; the next check removes them";
    }
  }

 private:
  Judgement judge(const Clause& clause, const ModuleReport& report) {
    const std::string lacking = m_failed.empty() ? lacking_of(clause, report) : m_failed;
    if (!lacking.empty()) {
      return {Verdict::kNotTried, "needs " + lacking};
    }
    m_made = m_made || clause.kind == Clause::Kind::kMaking;
    if (clause.kind == Clause::Kind::kMaking && m_clears) {
      m_clears = clear().holds();  // once: a module that hangs there would at each
    }
    const Judgement judgement = attempt(clause.attempt);
    if (clause.kind == Clause::Kind::kEssential && !judgement.holds()) {
      m_failed = clause.name;
    }
    return judgement;
  }

  Judgement attempt(Judgement (*what)(Trial&)) {
    return m_processes.run([&] { return Trial(m_target).judge(what); });
  }
  Judgement clear() { return attempt(clear_scratch_area); }

  const Target m_target;
  TrialProcesses m_processes;
  std::string m_failed;  // the essential clause that does not hold
  bool m_made = false, m_clears = true;
};

}  // namespace

int check_module(Target target, const ModuleToCheck& wanted, bool json) {
  if (wanted.module.empty()) {
    throw UsageError("give the file of the module");
  }
  target.module = wanted.module;
  user_pin(target), officer_pin(target);  // errors here are the user's, later ones the module's
  ModuleReport report(json);
  ModuleCheck check(target, std::chrono::seconds(wanted.limit));
  try {
    check.run(report, chosen(wanted.clauses));
  } catch (const Interrupted&) {
    throw UsageError("interrupted; " + check.clear_after_interruption());
  }
  report.finish();
  return report.exit_code();
}

}  // namespace tee_token_admin
