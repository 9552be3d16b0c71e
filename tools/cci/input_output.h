// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

namespace cci {

/// What goes to stderr besides errors.
class Notes {
 public:
  /// With `quiet`, only warnings are written.
  explicit Notes(bool quiet);

  /// A line about a step that begins or has ended.
  void say(const std::string& text) const;
  void warn(const std::string& text) const;

  /// For somebody who waits: a line on a terminal, elsewhere nothing.
  void progress(const std::string& text) const;

 private:
  bool m_quiet, m_on_terminal;
};

/// All bytes of a file, or of stdin for "-". Throws a Failure of class kInput.
std::string read_input(const std::string& path);

/// Writes to a file, whole or not at all, or else to stdout. Throws a Failure of class kNotDone.
void write_output(const std::optional<std::string>& file, const std::string& bytes);

/// Throws a Failure of class kUsage when stdout is a terminal.
void require_no_terminal();

}  // namespace cci
