// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "hidden_line.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "shared/token_access.h"

namespace tee_token_admin {
namespace {

/// The terminal of stdin shows nothing of what is typed while this object is there. Ctrl-C ends the line and
/// not the program, which would leave the terminal as it is.
class SilentTerminal {
 public:
  explicit SilentTerminal(const std::string& prompt)
      : m_is_terminal(::tcgetattr(STDIN_FILENO, &m_before) == 0) {
    if (m_is_terminal) {
      termios silent = m_before;
      silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
      silent.c_cc[VEOL] = m_before.c_cc[VINTR];
      ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
      std::cerr << prompt << std::flush;
    }
  }
  ~SilentTerminal() {
    if (m_is_terminal) {
      ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
      std::cerr << "\n";
    }
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool is_interrupt(int byte) const { return m_is_terminal && byte == m_before.c_cc[VINTR]; }

 private:
  termios m_before{};
  bool m_is_terminal;
};

}  // namespace

std::string hidden_line(const std::string& prompt) {
  const SilentTerminal terminal(prompt);
  std::string line;
  for (int byte = 0; (byte = std::cin.get()) != EOF && byte != '\n';) {
    if (terminal.is_interrupt(byte)) {
      throw UsageError("interrupted; nothing was changed");
    }
    line.push_back(static_cast<char>(byte));
  }
  return line;
}

}  // namespace tee_token_admin
