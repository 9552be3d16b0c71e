// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace cci {

/// What is said on stderr besides errors.
class Notes {
 public:
  /// A quiet one gives warnings alone.
  explicit Notes(bool quiet);
  ~Notes() { clear(); }
  Notes(const Notes&) = delete;
  Notes& operator=(const Notes&) = delete;

  /// A line for what is done now or is done.
  void say(const std::string& text);
  void warn(const std::string& text);

  /// On a terminal, a line that the next one replaces; elsewhere nothing.
  void tick(const std::string& text);

 private:
  void clear();

  bool m_quiet, m_on_terminal;
  bool m_ticking = false;
};

}  // namespace cci
