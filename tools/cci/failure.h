// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>

#include <stdexcept>
#include <string>

namespace cci {

/// The exit codes. Those that tee-token also has mean the same there.
enum class Exit {
  kDone = 0,
  kNotDone = 1,
  kUsage = 2,
  kPin = 3,
  kNoToken = 4,
  kTokenFailed = 5,
  kNotFound = 6,
  kRefused = 7,
  kBackendFailed = 8,
  kInput = 9,
  kNeedsProvisioning = 10,
};

/// A command was not carried out. what() says what failed, why, and what to try.
class Failure : public std::runtime_error {
 public:
  /// `state` is a line of its own: what is on the token now, and which command goes on.
  Failure(Exit exit, const std::string& text, const std::string& state = "")
      : std::runtime_error(text), m_exit(exit), m_state(state) {}

  Exit exit() const { return m_exit; }
  const std::string& state() const { return m_state; }

 private:
  Exit m_exit;
  std::string m_state;
};

/// The failure for an exception of the library: "cannot `what`: ", the reason and what to try.
Failure token_failure(const std::string& what, const Botan::Exception& error);

/// Whether the exception means that the object does not exist.
bool is_absence(const Botan::Exception& error);

}  // namespace cci
