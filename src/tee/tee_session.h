// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_types.h>

#include <memory>

namespace TEESession {

/// Everything an operation needs to talk to the TEE's token: module, slot, read/write session.
/// It uses the first slot with a token, and closes in reverse order what it opened.
class TEESession {
 public:
  /// With `login` the user is logged in. Throws what Botan throws when the module, the session or the login
  /// fails.
  [[gnu::visibility("default")]] explicit TEESession(bool login);
  TEESession(const TEESession&) = delete;
  TEESession& operator=(const TEESession&) = delete;

  bool m_valid = true;  ///< false when no slot holds a token; then there is no slot and no session
  std::unique_ptr<Botan::PKCS11::Module> m_module;
  std::unique_ptr<Botan::PKCS11::Slot> m_slot;
  std::unique_ptr<Botan::PKCS11::Session> m_session;
};

}  // namespace TEESession
