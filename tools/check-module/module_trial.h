// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>
#include <string>

#include "shared/token_access.h"

namespace tee_token_admin {

/// What a module makes of a clause. The last two are of clauses that only measure.
enum class Verdict { kOk, kMissing, kWrong, kNotTried, kMeasured, kSlow };

struct Judgement {
  Verdict verdict;
  std::string text;     // what was found; empty when all is as it should be
  CK_RV code = CKR_OK;  // of the module, when that was it

  /// Whether what builds on the clause can be tried.
  bool holds() const {
    return verdict == Verdict::kOk || verdict == Verdict::kMeasured || verdict == Verdict::kSlow;
  }
};

/// Ends a trial with a judgement other than ok.
class TrialEnd : public std::runtime_error {
 public:
  explicit TrialEnd(const Judgement& judgement)
      : std::runtime_error(judgement.text), m_judgement(judgement) {}
  const Judgement& judgement() const { return m_judgement; }

 private:
  Judgement m_judgement;
};

/// One clause being tried on a module.
class Trial {
 public:
  explicit Trial(const Target& target) : m_target(target) {}
  const Target& target() const { return m_target; }

  /// Says what is done from here on; with this a failure's text begins.
  void step(const std::string& name) { m_step = name; }

  /// Ends the trial as wrong, unless `holds`.
  void require(bool holds, const std::string& found) const;

  /// What the attempt came to. A refusal by the module is missing, any other error wrong.
  template <typename Attempt>
  Judgement judge(const Attempt& attempt) {
    try {
      return attempt(*this);
    } catch (const TrialEnd& end) {
      return end.judgement();
    } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
      return refused(static_cast<CK_RV>(error.get_return_value()));
    } catch (const std::exception& error) {
      return {Verdict::kWrong, m_step + ": " + error.what()};
    }
  }

 private:
  Judgement refused(CK_RV code) const;

  Target m_target;
  std::string m_step;
};

/// A session that the user is logged in to.
class UserSession : public TokenSession {
 public:
  explicit UserSession(Trial& trial);
};

}  // namespace tee_token_admin
