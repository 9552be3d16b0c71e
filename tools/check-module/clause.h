// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "shared/token_access.h"

namespace tee_token_admin {

/// The verdict on a clause. Clauses that measure a time have one of the last two.
enum class Verdict { kOk, kMissing, kWrong, kNotTried, kMeasured, kSlow };

struct Judgement {
  Verdict verdict = Verdict::kOk;
  std::string text;     // what was found; empty with kOk
  CK_RV code = CKR_OK;  // the module's, if it refused

  /// Whether the clauses that need this one can be tried.
  bool holds() const {
    return verdict == Verdict::kOk || verdict == Verdict::kMeasured || verdict == Verdict::kSlow;
  }
};

/// Thrown to end a trial with a judgement other than ok.
struct TrialEnd {
  Judgement judgement;
};

/// The label that all objects of one clause carry, and no other object on the token: a group of labels that
/// the library does not use, and a random number in which one byte is zero.
struct Mark {
  std::uint32_t check;  // random, the same for all clauses of a check
  std::size_t clause;

  std::string text() const;
  std::vector<std::uint8_t> label() const;
  /// The owner of the objects, and the identifier of the trust store group.
  std::string client() const { return "tee-token check-module " + text(); }
};

/// One clause while it is tried on a module.
class Trial {
 public:
  Trial(const Target& target, const Mark& mark) : m_target(target), m_mark(mark) {}
  const Target& target() const { return m_target; }
  const Mark& mark() const { return m_mark; }

  /// Names what is done from here on; the text of a failure begins with it.
  void step(const std::string& name) { m_step = name; }

  /// Ends the trial as wrong, unless `holds`.
  void require(bool holds, const std::string& found) const;

  /// The judgement on the attempt: a refusal by the module is missing, any other error wrong.
  Judgement judge(const std::function<Judgement(Trial&)>& attempt);

 private:
  Target m_target;
  Mark m_mark;
  std::string m_step;
};

/// Something that the library needs of a module.
struct Clause {
  enum class Kind {
    kEssential,  // without it no other clause can be tried
    kOrdinary,
    kForking,  // starts a second process, which cannot be done once the module was loaded
  };

  std::string name;
  std::string tried;
  std::string needed;  // what the module has to do, and why
  Judgement (*attempt)(Trial& trial);
  Kind kind = Kind::kOrdinary;
  std::vector<std::string> needs = {};  // clauses before it that must hold, besides the essential ones
};

/// All clauses, in the order in which they are tried. The last one cleans up.
const std::vector<Clause>& module_clauses();

// What the clauses try. Each returns ok or what it measured, and throws what Trial::judge catches.
Judgement loads(Trial& trial);
Judgement has_an_initialised_token(Trial& trial);
Judgement logs_the_user_in(Trial& trial);
Judgement takes_the_librarys_pin(Trial& trial);
Judgement closes_all_files(Trial& trial);
Judgement hides_private_objects_without_login(Trial& trial);
Judgement finds_by_label(Trial& trial);
Judgement stores_vendor_attributes(Trial& trial);
Judgement generates_the_librarys_key_pair(Trial& trial);
Judgement gives_the_point_in_der(Trial& trial);
Judgement hides_the_private_key(Trial& trial);
Judgement signs(Trial& trial);
Judgement stores_a_chain(Trial& trial);
Judgement continues_a_search(Trial& trial);
Judgement keeps_trust_groups(Trial& trial);
Judgement shows_changes_to_a_second_process(Trial& trial);
Judgement destroys(Trial& trial);
Judgement has_the_vendor_interface(Trial& trial);
Judgement installs_identities(Trial& trial);
Judgement refuses_incomplete_identities(Trial& trial);
Judgement measures_a_signature(Trial& trial);
Judgement measures_a_session(Trial& trial);
Judgement cleans_up(Trial& trial);

}  // namespace tee_token_admin
