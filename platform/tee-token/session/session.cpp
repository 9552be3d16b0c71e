// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {

CK_SESSION_INFO Session::info() const {
  const Login& login = m_token.login();
  const CK_STATE state = login.is(User::kSecurityOfficer) ? CKS_RW_SO_FUNCTIONS
                         : login.is(User::kUser)
                             ? (m_read_write ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS)
                         : m_read_write ? CKS_RW_PUBLIC_SESSION
                                        : CKS_RO_PUBLIC_SESSION;
  return {0, state, CKF_SERIAL_SESSION | (m_read_write ? CKF_RW_SESSION : 0UL), 0};
}

void Session::require_idle() const {
  if (!std::holds_alternative<std::monostate>(m_operation)) {
    throw Error(CKR_OPERATION_ACTIVE, "another operation is active in this session");
  }
}

void Session::require_may_write(bool token_object) const {
  if (token_object && !m_read_write) {
    throw Error(CKR_SESSION_READ_ONLY, "a read-only session cannot change objects of the token");
  }
}

void Session::require_may_change(const Attributes& object) const {
  if (creator() != Creator::kSecurityOfficer && belongs_to_officer(object)) {
    throw Error(CKR_ACTION_PROHIBITED, "what the security officer trusts, he alone can change or destroy");
  }
}

Creator Session::creator() const {
  return m_token.login().is(User::kSecurityOfficer) ? Creator::kSecurityOfficer : Creator::kAnyone;
}

}  // namespace tee_token
