// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdexcept>
#include <string>

#include "exit_code.h"

namespace cci {

/// A command was not carried out. what() says what failed, why, and what to try.
class Failure : public std::runtime_error {
 public:
  Failure(Exit exit, const std::string& text) : std::runtime_error(text), m_exit(exit) {}

  Exit exit() const { return m_exit; }

 private:
  Exit m_exit;
};

}  // namespace cci
