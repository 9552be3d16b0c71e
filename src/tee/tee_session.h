// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_types.h>

#include <memory>

namespace TEESession {

/// A read/write session with the token in the first slot that has one, and the module and slot that it needs.
/// The destructor closes them in reverse order.
class TEESession {
 public:
  /// Logs the user in if `login`. Throws Botan's exceptions when the module, the session or the login fails.
  [[gnu::visibility("default")]] explicit TEESession(bool login);
  TEESession(const TEESession&) = delete;
  TEESession& operator=(const TEESession&) = delete;

  bool m_valid = true;  ///< false when no slot holds a token; then there is no slot and no session
  std::unique_ptr<Botan::PKCS11::Module> m_module;
  std::unique_ptr<Botan::PKCS11::Slot> m_slot;
  std::unique_ptr<Botan::PKCS11::Session> m_session;
};

}  // namespace TEESession
