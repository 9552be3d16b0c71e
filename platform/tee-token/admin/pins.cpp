#include <botan/p11.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "commands.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

/// The terminal of stdin shows nothing of what is typed while this object is there.
class NoEcho {
 public:
  NoEcho() : m_is_terminal(::tcgetattr(STDIN_FILENO, &m_before) == 0) {
    if (m_is_terminal) {
      termios silent = m_before;
      silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
      ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
      std::cerr << "new PIN, in hexadecimal digits: " << std::flush;
    }
  }
  ~NoEcho() {
    if (m_is_terminal) {
      ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
      std::cerr << "\n";
    }
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;

 private:
  termios m_before{};
  bool m_is_terminal;
};

std::string asked_for() {
  const NoEcho no_echo;
  std::string line;
  std::getline(std::cin, line);
  return line;
}

secure_string new_pin(const std::string& hex) {
  secure_string pin = pin_of_hex(hex.empty() ? asked_for() : hex, "a new PIN");
  if (pin.empty()) {
    throw UsageError("there is no new PIN; give it with --new-pin-hex, or on stdin");
  }
  return pin;
}

}  // namespace

void change_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  OpenSlot open(target, true);
  Botan::PKCS11::change_pin(open.slot(), user_pin(target), pin);
  std::cout << "changed the user's PIN\n";
}

void change_so_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  OpenSlot open(target, true);
  Botan::PKCS11::change_so_pin(open.slot(), officer_pin(target), pin);
  std::cout << "changed the security officer's PIN\n";
}

void reset_pin(const Target& target, const std::string& new_pin_hex) {
  const secure_string pin = new_pin(new_pin_hex);
  OpenSlot open(target, true);
  set_pin(open.slot(), officer_pin(target), pin);
  std::cout << "set a new PIN for the user\n";
}

}  // namespace tee_token_admin
