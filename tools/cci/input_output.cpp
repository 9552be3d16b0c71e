// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "input_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <system_error>

#include "failure.h"
#include "shared/shown_text.h"
#include "shared/whole_file.h"

namespace cci {
Notes::Notes(bool quiet) : m_quiet(quiet), m_on_terminal(::isatty(STDERR_FILENO) == 1) {}

void Notes::say(const std::string& text) const {
  if (!m_quiet) std::cerr << shown_text::shown(text) << std::endl;
}

void Notes::warn(const std::string& text) const {
  std::cerr << "cci: warning: " << shown_text::shown(text) << std::endl;
}

void Notes::progress(const std::string& text) const {
  if (m_on_terminal) say(text);
}

std::string read_input(const std::string& path) try {
  return tools::read_file(path);
} catch (const std::system_error& error) {
  throw Failure(Exit::kInput, error.what());
}

void write_output(const std::optional<std::string>& file, const std::string& bytes) try {
  if (file) return tools::write_file(*file, bytes);
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot write to stdout");
  }
} catch (const std::system_error& error) {
  throw Failure(Exit::kNotDone, error.what());
}

void require_no_terminal() {
  if (::isatty(STDOUT_FILENO) == 1) {
    throw Failure(Exit::kUsage, "binary data is not written to a terminal; use -o FILE or a text form");
  }
}

}  // namespace cci
