// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11.h>
#include <botan/p11_types.h>

namespace Botan {
namespace PKCS11 {

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
