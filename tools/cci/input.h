// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "bytes.h"

namespace cci {

/// All bytes of a file, or of stdin for "-". Throws a Failure of class kInput.
Bytes read_input(const std::string& path);

/// The file's name for people.
std::string name_of_input(const std::string& path);

}  // namespace cci
