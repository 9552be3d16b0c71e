// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11.h>
#include <unistd.h>

#include <iostream>

#include "commands.h"
#include "folder_lock.h"
#include "hidden_line.h"
#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

// A terminal does not show it: a slip could be found out no more.
std::string asked_for() {
  const std::string line = hidden_line("new PIN, in hexadecimal digits, two a byte (31 is the digit 1): ");
  if (::isatty(STDIN_FILENO) == 1 && hidden_line("the same again: ") != line) {
    throw UsageError("the two are not the same, and no PIN was changed; try again");
  }
  return line;
}

secure_string new_pin(const std::string& hex) {
  secure_string pin = pin_of_hex(hex.empty() || hex == "-" ? asked_for() : hex, "a new PIN");
  if (pin.empty()) {
    throw UsageError("there is no new PIN; give it with --new-pin-hex, or on stdin");
  }
  return pin;
}

}  // namespace

void change_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  const FolderLock lock(target);
  OpenSlot open(target, true);
  Botan::PKCS11::change_pin(open.slot(), user_pin(target), pin);
  std::cout << "changed the user's PIN to one of " << counted(pin.size(), "byte") << "\n";
}

void change_so_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  const FolderLock lock(target);
  OpenSlot open(target, true);
  Botan::PKCS11::change_so_pin(open.slot(), officer_pin(target), pin);
  std::cout << "changed the security officer's PIN to one of " << counted(pin.size(), "byte") << "\n";
}

void reset_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  const FolderLock lock(target);
  OpenSlot open(target, true);
  set_pin(open.slot(), officer_pin(target), pin);
  std::cout << "set a new PIN for the user, of " << counted(pin.size(), "byte") << "\n";
}

}  // namespace tee_token_admin
