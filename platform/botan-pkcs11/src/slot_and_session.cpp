// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_types.h>

namespace Botan {
namespace PKCS11 {

std::vector<SlotId> Slot::get_available_slots(Module& module, bool token_present) {
  std::vector<SlotId> slots;
  module->C_GetSlotList(token_present, slots);
  return slots;
}

SlotInfo Slot::get_slot_info() const {
  SlotInfo info = {};
  m_module->C_GetSlotInfo(m_slot_id, &info);
  return info;
}

std::vector<MechanismType> Slot::get_mechanism_list() const {
  std::vector<MechanismType> mechanisms;
  m_module->C_GetMechanismList(m_slot_id, mechanisms);
  return mechanisms;
}

MechanismInfo Slot::get_mechanism_info(MechanismType mechanism_type) const {
  MechanismInfo info = {};
  m_module->C_GetMechanismInfo(m_slot_id, mechanism_type, &info);
  return info;
}

TokenInfo Slot::get_token_info() const {
  TokenInfo info = {};
  m_module->C_GetTokenInfo(m_slot_id, &info);
  return info;
}

void Slot::initialize(const std::string& label, const secure_string& so_pin) const {
  m_module->C_InitToken(m_slot_id, so_pin, label);
}

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
  if (m_logged_in) {
    module().clean_up([this](const LowLevel& token) { token.C_Logout(m_handle, nullptr); });
  }
  module().clean_up([this](const LowLevel& token) { token.C_CloseSession(m_handle, nullptr); });
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

namespace {

void change_pin_of(UserType user, Slot& slot, const secure_string& old_pin, const secure_string& new_pin) {
  Session session(slot, false);
  session.login(user, old_pin);
  session.set_pin(old_pin, new_pin);
}

}  // namespace

void initialize_token(Slot& slot, const std::string& label, const secure_string& so_pin,
                      const secure_string& pin) {
  slot.initialize(label, so_pin);
  set_pin(slot, so_pin, pin);
}

void change_pin(Slot& slot, const secure_string& old_pin, const secure_string& new_pin) {
  change_pin_of(UserType::User, slot, old_pin, new_pin);
}

void change_so_pin(Slot& slot, const secure_string& old_so_pin, const secure_string& new_so_pin) {
  change_pin_of(UserType::SO, slot, old_so_pin, new_so_pin);
}

void set_pin(Slot& slot, const secure_string& so_pin, const secure_string& pin) {
  Session session(slot, false);
  session.login(UserType::SO, so_pin);
  session.init_pin(pin);
}

}  // namespace PKCS11
}  // namespace Botan
