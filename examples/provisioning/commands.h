// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace provisioning {

/// Runs a shell command and returns what it writes to stdout and stderr, without the last line end.
/// Throws std::runtime_error with that text unless it exits with 0.
std::string run(const std::string& command);

/// Writes a file of the working folder anew.
void write_file(const std::string& name, const std::string& content);
void write_file(const std::string& name, const std::vector<std::uint8_t>& content);

std::string read_file(const std::string& name);

}  // namespace provisioning
