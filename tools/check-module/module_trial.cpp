// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "module_trial.h"

#include "base/return_value_name.h"

namespace tee_token_admin {

void Trial::require(bool holds, const std::string& found) const {
  if (!holds) {
    throw TrialEnd({Verdict::kWrong, m_step + ": " + found});
  }
}

Judgement Trial::refused(CK_RV code) const {
  return {Verdict::kMissing, m_step + ": " + tee_token::return_value_name(code), code};
}

UserSession::UserSession(Trial& trial) : TokenSession(trial.target()) {
  trial.step("C_Login");
  login(Botan::PKCS11::UserType::User);
  trial.step("after C_Login");
}

}  // namespace tee_token_admin
