// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

namespace cci {

/// Writes the bytes to the file, whole or not at all, or without one to stdout. What is no plain file (a
/// device, a pipe) is written to directly. Throws a Failure of class kNotDone.
void write_output(const std::optional<std::string>& file, const std::string& bytes);

/// Throws a Failure of class kUsage when binary data would go to a terminal.
void require_no_terminal();

}  // namespace cci
