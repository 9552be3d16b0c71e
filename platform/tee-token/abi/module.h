// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>

#include "session/session.h"

namespace tee_token {

/// The one slot.
constexpr CK_SLOT_ID kSlot = 0;

/// Held during each call: calls run one at a time. A fork waits for it, so that no child begins in the middle
/// of a transaction.
class CallLock {
 public:
  CallLock() noexcept;
  CallLock(const CallLock&) = delete;
  CallLock& operator=(const CallLock&) = delete;
  ~CallLock();

  /// Whether this thread is in another call: a RAND_METHOD or ENGINE of the host program calls the module.
  bool is_nested() const noexcept { return m_is_nested; }

 private:
  const bool m_is_nested;
};

/// The state of the module between C_Initialize and C_Finalize. Hold a CallLock to use it or the static
/// functions.
class Module {
 public:
  explicit Module(DeviceFolder folder);

  /// The process's module; null when it is not initialised. A forked child has to initialise its own.
  static Module* current() noexcept;
  /// The same, but throws CKR_CRYPTOKI_NOT_INITIALIZED when there is none.
  static Module& required();
  /// Makes the module. Throws CKR_CRYPTOKI_ALREADY_INITIALIZED when there is one, CKR_GENERAL_ERROR after the
  /// end of libcrypto.
  static void initialise();
  /// Destroys the module, if there is one.
  static void finalise();

  Token& token() { return m_token; }
  const Token& token() const { return m_token; }

  /// Throws CKR_SLOT_ID_INVALID.
  static void require_slot(CK_SLOT_ID slot);
  /// The token in `slot`. Throws CKR_SLOT_ID_INVALID, CKR_TOKEN_NOT_PRESENT.
  Token& token_in(CK_SLOT_ID slot);

  CK_SESSION_HANDLE open_session(CK_SLOT_ID slot, CK_FLAGS flags);
  /// Throws CKR_SESSION_HANDLE_INVALID.
  Session& session(CK_SESSION_HANDLE handle);
  void close_session(CK_SESSION_HANDLE handle);
  void close_all_sessions();
  CK_ULONG session_count(bool read_write_only) const;

  void log_in(CK_USER_TYPE user, ByteView pin);
  void log_out();

  /// Whether the token was inserted or removed since the last call, or since the module was initialised.
  bool take_slot_event();

 private:
  Token m_token;
  bool m_token_was_present;
  CK_SESSION_HANDLE m_last_handle = 0;
  std::map<CK_SESSION_HANDLE, Session> m_sessions;
};

}  // namespace tee_token
