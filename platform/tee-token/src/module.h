#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>

#include "session.h"

namespace tee_token {

/// The one slot.
constexpr CK_SLOT_ID kSlot = 0;

/// Everything between C_Initialize and C_Finalize. One call works in it at a time.
class Module {
 public:
  explicit Module(DeviceFolder folder);

  /// The process's module. Throws CKR_CRYPTOKI_NOT_INITIALIZED when there is none, also in a child that was
  /// forked off: it has to initialise for itself.
  static std::shared_ptr<Module> current();
  /// Throws CKR_CRYPTOKI_ALREADY_INITIALIZED when there is one.
  static void initialise();
  static void finalise();

  std::mutex& mutex() { return m_mutex; }
  Token& token() { return m_token; }

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

  void log_in(CK_SESSION_HANDLE session, CK_USER_TYPE user, ByteView pin);
  void log_out(CK_SESSION_HANDLE session);

 private:
  const pid_t m_process;
  std::mutex m_mutex;
  Token m_token;
  CK_SESSION_HANDLE m_last_handle = 0;
  std::map<CK_SESSION_HANDLE, Session> m_sessions;
};

}  // namespace tee_token
