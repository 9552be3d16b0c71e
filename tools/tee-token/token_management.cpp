// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "commands.h"
#include "shared/shown_text.h"
#include "store/device_folder.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

std::string line_of_terminal(const std::string& prompt, bool twice) {
  char line[1024] = "";
  if (EVP_read_pw_string(line, sizeof line - 1, prompt.c_str(), twice ? 1 : 0) != 0) {
    throw UsageError("no PIN was entered, or not the same one twice; nothing was changed");
  }
  const std::string entered = line;
  OPENSSL_cleanse(line, sizeof line);
  return entered;
}

constexpr char kWarning[] =
    "with a user PIN that is not the platform's, the library cannot use this token, and each of its calls "
    "spends one of ten tries";

secure_string pin_of(const NewPin& wanted) {
  const bool is_asked = wanted.hex.empty() || wanted.hex == "-";
  return wanted.platforms ? user_pin({})
                          : pin_of_hex(is_asked ? read_pin("the new PIN", true) : wanted.hex, "the new PIN");
}

/// Throws UsageError for a PIN with which the library could not use the token, unless somebody agrees.
void require_agreement(const secure_string& pin, bool yes) {
  std::string answer = yes || pin == user_pin({}) ? "y" : "";
  if (answer.empty() && ::isatty(STDIN_FILENO) == 1) {
    std::cerr << kWarning << "; set it? [y/N] ";
    std::getline(std::cin, answer);
  }
  if (answer != "y") {
    throw UsageError(std::string(kWarning) + "; nothing was changed; --yes sets it");
  }
}

}  // namespace

tee_token::FileDescriptor lock_token(const Target& target) {
  const auto folder = tee_token::DeviceFolder::of_environment();
  if (!is_platforms(target) || !folder.exists()) {
    return tee_token::FileDescriptor(-1);
  }
  tee_token::FileDescriptor opened = tee_token::open_file(folder.path(), O_RDONLY | O_DIRECTORY);
  if (opened.get() < 0 || ::flock(opened.get(), LOCK_EX) != 0) {
    throw UsageError("cannot lock the folder " + folder.path() + ": " + std::strerror(errno));
  }
  return opened;
}

void choose_keys(const Target& target, const std::string& keys, const std::string& tcti) {
  if (keys.empty()) {
    return;
  }
  if (!is_platforms(target)) {
    throw UsageError("--keys is for the platform's token only");
  }
  if (keys != "tpm" && !tcti.empty()) {
    throw UsageError("--tcti needs --keys tpm");
  }
  ::setenv("TEE_TOKEN_KEYS", (tcti.empty() ? keys : keys + ":" + tcti).c_str(), 1);
}

void init(const Target& target, const std::string& label, bool force) {
  if (label.size() > 32) {
    throw UsageError("a token's label has at most 32 characters");
  }
  if (is_platforms(target)) {
    tee_token::DeviceFolder::of_environment().make_if_absent();  // it is locked next
  }
  const tee_token::FileDescriptor lock = lock_token(target);
  OpenSlot open(target, false);
  const bool is_present = (open.slot().get_slot_info().flags & CKF_TOKEN_PRESENT) != 0;
  // With --force a damaged token need not say whether it is initialised.
  if (!force && is_present && (open.slot().get_token_info().flags & CKF_TOKEN_INITIALIZED) != 0) {
    throw UsageError("there is a token already, which was not changed; --force destroys everything on it");
  }
  initialize_token(open.slot(), label, officer_pin(target), user_pin(target));
  std::cout << "made token '" << label << "'\n";
  if (user_pin(target) != user_pin({})) {
    std::cerr << "note: " << kWarning << "\n";
  }
}

std::string read_pin(const std::string& name, bool twice) {
  std::string line;
  if (::isatty(STDIN_FILENO) == 1) {
    line = line_of_terminal(name + " in hexadecimal digits (31 is the digit 1): ", twice);
  } else {
    std::getline(std::cin, line);
  }
  if (line.empty()) {
    throw UsageError(name + " is missing on stdin");
  }
  return line;
}

void change_pin(const Target& target, PinChange change, const NewPin& wanted) {
  const secure_string pin = pin_of(wanted);
  if (change != PinChange::kOfficer) {
    require_agreement(pin, wanted.yes);
  }
  OpenSlot open(target, true);
  if (change == PinChange::kUser) {
    Botan::PKCS11::change_pin(open.slot(), user_pin(target), pin);
  } else if (change == PinChange::kReset) {
    set_pin(open.slot(), officer_pin(target), pin);
  } else {
    change_so_pin(open.slot(), officer_pin(target), pin);
  }
  std::cout << "set a new " << (change == PinChange::kOfficer ? "security officer's" : "user") << " PIN of "
            << counted(pin.size(), "byte") << "\n";
}

}  // namespace tee_token_admin
