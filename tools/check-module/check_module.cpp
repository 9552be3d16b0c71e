// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "check_module.h"

#include <botan/auto_rng.h>

#include <poll.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <set>

#include "child_process.h"
#include "report.h"

namespace tee_token_admin {
namespace {

using Json = nlohmann::json;

struct Interrupted {};

volatile std::sig_atomic_t interrupted = 0;

/// Lets signals set a flag instead of ending this process, so that it can clean up; ignored ones stay
/// ignored. SIGPIPE is ignored, so that it also cleans up when nobody reads stdout.
void note_interruptions() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (std::signal(signal, [](int) { interrupted = 1; }) == SIG_IGN) {
      std::signal(signal, SIG_IGN);
    }
  }
  std::signal(SIGPIPE, SIG_IGN);
}

/// The positions of the named clauses, of those they need, of the essential ones and of the last, which
/// cleans up; all when none is named.
std::set<std::size_t> chosen(const std::vector<std::string>& names) {
  const auto& clauses = module_clauses();
  std::set<std::string> needed(names.begin(), names.end());
  std::set<std::size_t> all;
  for (std::size_t i = clauses.size(); i-- > 0;) {
    if (names.empty() || clauses[i].kind == Clause::Kind::kEssential || i + 1 == clauses.size() ||
        needed.count(clauses[i].name) != 0) {
      all.insert(i);
      needed.insert(clauses[i].needs.begin(), clauses[i].needs.end());
    }
  }
  return all;
}

std::string message_of(const Judgement& judgement) {
  return Json({judgement.verdict, judgement.text, judgement.code})
      .dump(-1, ' ', false, Json::error_handler_t::replace);
}

Judgement judgement_of(const std::string& message) {
  const Json parts = Json::parse(message);
  return {parts[0].get<Verdict>(), parts[1].get<std::string>(), parts[2].get<CK_RV>()};
}

std::uint32_t random_number() {
  Botan::AutoSeeded_RNG rng;
  std::uint32_t number = 0;
  rng.randomize(reinterpret_cast<std::uint8_t*>(&number), sizeof number);
  return number;
}

/// The clauses, tried one after another in a child process. This process never loads the module.
class ModuleCheck {
 public:
  ModuleCheck(const Target& target, const ModuleToCheck& wanted, bool json)
      : m_target(target), m_limit(wanted.limit), m_positions(chosen(wanted.clauses)), m_report(json) {}

  const ModuleReport& run() {
    for (auto next = m_positions.begin(); next != m_positions.end();) {
      next = run_child(next);
    }
    return m_report;
  }

  /// Text that says whether objects are left on the token.
  std::string clean_up_after_interruption() {
    if (!m_report.holds("login")) {
      return "nothing was made";  // a login now could cost a try of the PIN
    }
    interrupted = 0;
    try {
      run_child(std::prev(m_positions.end()));
    } catch (const Interrupted&) {
    }
    return m_report.holds("clean-up") ? "what it made is destroyed"
                                      : "objects of it may be left on the token";
  }

 private:
  using Position = std::set<std::size_t>::const_iterator;

  /// Tries clauses until one ends the process, or needs a new one. Returns the first that is left.
  Position run_child(Position first) {
    ChildProcess child([&](int parent) { try_clauses(first, parent); });
    Position next = first;
    for (bool alive = true; alive && belongs_to_child(first, next); ++next) {
      alive = add_judgement(child, module_clauses()[*next]);
    }
    return next;
  }

  bool belongs_to_child(Position first, Position clause) const {
    return clause != m_positions.end() &&
           (clause == first || module_clauses()[*clause].kind != Clause::Kind::kForking);
  }

  /// In the child process, with a copy of the report so far.
  void try_clauses(Position first, int parent) {
    for (Position next = first; belongs_to_child(first, next); ++next) {
      const Clause& clause = module_clauses()[*next];
      const std::string lacking = m_report.lacking(clause);
      const Judgement judgement = lacking.empty() ? Trial(m_target, {m_number, *next}).judge(clause.attempt)
                                                  : Judgement{Verdict::kNotTried, "needs " + lacking};
      m_report.add(clause, judgement);
      send_message(parent, message_of(judgement));
    }
  }

  /// Waits for the judgement and returns whether the child process continues.
  bool add_judgement(ChildProcess& child, const Clause& clause) {
    pollfd socket = {child.socket(), POLLIN, 0};
    int ready = -1;
    while (ready < 0 && interrupted == 0) {  // less than 0 after a signal
      ready = ::poll(&socket, 1, static_cast<int>(m_limit) * 1000);
    }
    if (ready <= 0 || interrupted != 0) {
      child.kill();
    }
    if (interrupted != 0) {
      throw Interrupted();
    }
    const auto message = ready > 0 ? receive_message(child.socket()) : std::nullopt;
    const std::string end =
        ready > 0 ? "" : "not finished within " + std::to_string(m_limit) + " s; --limit allows more";
    m_report.add(clause, message ? judgement_of(*message)
                                 : Judgement{Verdict::kWrong, end.empty() ? child.wait() : end});
    m_report.print_last();
    return message.has_value();
  }

  const Target m_target;
  const unsigned m_limit;  // seconds
  const std::set<std::size_t> m_positions;
  const std::uint32_t m_number = random_number();
  ModuleReport m_report;
};

}  // namespace

int check_module(Target target, const ModuleToCheck& wanted, bool json) {
  if (wanted.module.empty()) {
    throw UsageError("give the file of the module");
  }
  target.module = wanted.module;
  user_pin(target), officer_pin(target);  // a malformed PIN is the user's error, not the module's
  note_interruptions();
  ModuleCheck check(target, wanted, json);
  try {
    const ModuleReport& report = check.run();
    report.finish();
    return report.exit_code();
  } catch (const Interrupted&) {
    throw UsageError("interrupted; " + check.clean_up_after_interruption());
  }
}

}  // namespace tee_token_admin
