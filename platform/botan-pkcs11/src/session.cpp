// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_types.h>

namespace Botan {
namespace PKCS11 {

Session::Session(Slot& slot, bool read_only)
    : Session(slot, flags(read_only ? Flag::SerialSession : Flag::SerialSession | Flag::RwSession), nullptr,
              nullptr) {}

Session::Session(Slot& slot, Flags flags, VoidPtr callback_data, Notify notify_callback) : m_slot(slot) {
  module()->C_OpenSession(slot.slot_id(), flags, callback_data, notify_callback, &m_handle);
}

Session::Session(Slot& slot, SessionHandle handle) : m_slot(slot), m_handle(handle) {
  const CK_STATE state = get_info().state;
  m_logged_in = state != static_cast<CK_STATE>(SessionState::RoPublicSession) &&
                state != static_cast<CK_STATE>(SessionState::RwPublicSession);
}

Session::Session(Session&& other) noexcept
    : m_slot(other.m_slot), m_handle(other.release()), m_logged_in(other.m_logged_in) {}

Session::~Session() noexcept {
  if (m_handle == 0) {
    return;
  }
  try {
    if (m_logged_in) {
      module()->C_Logout(m_handle, nullptr);
    }
    module()->C_CloseSession(m_handle, nullptr);
  } catch (...) {
    // nobody is left to tell
  }
}

SessionHandle Session::release() { return std::exchange(m_handle, 0); }

void Session::login(UserType user_type, const secure_string& pin) {
  module()->C_Login(m_handle, user_type, pin);
  m_logged_in = true;
}

void Session::logoff() {
  module()->C_Logout(m_handle);
  m_logged_in = false;
}

SessionInfo Session::get_info() const {
  SessionInfo info = {};
  module()->C_GetSessionInfo(m_handle, &info);
  return info;
}

void Session::set_pin(const secure_string& old_pin, const secure_string& new_pin) const {
  module()->C_SetPIN(m_handle, old_pin, new_pin);
}

void Session::init_pin(const secure_string& new_pin) { module()->C_InitPIN(m_handle, new_pin); }

}  // namespace PKCS11
}  // namespace Botan
