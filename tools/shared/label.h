// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tee_token_admin {

/// The five bytes of a label in text form, "1_10": the group, then the index, lowest byte first.
/// Throws UsageError for any other text.
std::vector<std::uint8_t> label_bytes(const std::string& text);

/// The text form of a label: "1_10"; of one that does not have five bytes, the bytes in hexadecimal.
std::string label_text(const std::vector<std::uint8_t>& bytes);

}  // namespace tee_token_admin
