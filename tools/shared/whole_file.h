// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace tools {

/// All bytes of a file, or of stdin for "-". Throws std::system_error, with a text such as "cannot read FILE:
/// Permission denied".
std::string read_file(const std::string& path);

/// Makes `bytes` the content of the file, whole or not at all: they are written to a temporary file in the
/// same folder, which is then renamed, and gets owner and mode of the file that it replaces. A device, a pipe
/// or a link is written to directly, but not another user's link in a sticky folder that all may write to.
/// Throws std::system_error.
void write_file(const std::string& path, const std::string& bytes);

}  // namespace tools
