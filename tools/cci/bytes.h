// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cci {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytes_of(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline std::string text_of(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

}  // namespace cci
