// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>

#include "session/session.h"

namespace tee_token {

/// The one slot.
constexpr CK_SLOT_ID kSlot = 0;

/// The state of the module between C_Initialize and C_Finalize. Hold `mutex()` to use it or the static
/// functions: calls run one at a time.
class Module {
 public:
  explicit Module(DeviceFolder folder);

  /// Held during each call. A fork waits for it, so that no child begins in the middle of a transaction.
  static std::mutex& mutex();

  /// The process's module; null when it is not initialised. A forked child has to initialise its own.
  static Module* current();
  /// The same, but throws CKR_CRYPTOKI_NOT_INITIALIZED when there is none.
  static Module& required();
  /// Makes the module. Throws CKR_CRYPTOKI_ALREADY_INITIALIZED when there is one.
  static void initialise();
  /// Destroys the module.
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
  const pid_t m_process;
  Token m_token;
  bool m_token_was_present;
  CK_SESSION_HANDLE m_last_handle = 0;
  std::map<CK_SESSION_HANDLE, Session> m_sessions;
};

}  // namespace tee_token
