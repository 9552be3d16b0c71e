// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace cci {

/// How a command ended, by class; exit_code.cpp has the numbers.
enum class Exit {
  kDone,
  kNotDone,
  kUsage,
  kPin,
  kNoToken,
  kTokenFailed,
  kNotFound,
  kRefused,
  kBackendFailed,
  kInput,
};

/// The number that the shell gets.
int exit_code_of(Exit exit);

/// All exit codes with their meaning, in lines of at most 80 characters; the last one has no end.
std::string help_on_exit_codes();

}  // namespace cci
