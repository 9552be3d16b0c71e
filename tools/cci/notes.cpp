// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "notes.h"

#include <unistd.h>

#include <iostream>

#include "shared/shown_text.h"

namespace cci {
namespace {

const char kBlankLine[] = "\r\x1b[K";

}  // namespace

Notes::Notes(bool quiet) : m_quiet(quiet), m_on_terminal(::isatty(STDERR_FILENO) == 1) {}

void Notes::say(const std::string& text) {
  clear();
  if (!m_quiet) std::cerr << shown_text::shown(text) << std::endl;
}

void Notes::warn(const std::string& text) {
  clear();
  std::cerr << "cci: warning: " << shown_text::shown(text) << std::endl;
}

void Notes::tick(const std::string& text) {
  if (m_quiet || !m_on_terminal) return;
  std::cerr << kBlankLine << text << std::flush;
  m_ticking = true;
}

void Notes::clear() {
  if (m_ticking) std::cerr << kBlankLine << std::flush;
  m_ticking = false;
}

}  // namespace cci
