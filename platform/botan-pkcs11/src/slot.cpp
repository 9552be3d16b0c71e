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

}  // namespace PKCS11
}  // namespace Botan
