// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace tee_token {

/// Which answers a line is about: those that a person has to look at, or any other than CKR_OK.
enum class Level { kFailures, kAll };

/// Whether lines of `level` are wanted, as TEE_TOKEN_LOG says.
bool is_wanted(Level level);

/// Writes `line`, which ends with a newline, to where TEE_TOKEN_LOG says. What cannot be written there, and
/// what TEE_TOKEN_LOG says that is not understood, is told on stderr.
void write_to_log(const std::string& line);

}  // namespace tee_token
