// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/secmem.h>

#include <array>
#include <cstdint>
#include <string>

namespace ozk {
namespace tee {

/// CKA_LABEL as the token's objects carry it: one byte group, then the index as 32 bits, little-endian.
using ObjectLabel = std::array<std::uint8_t, 5>;

constexpr ObjectLabel kLYRPublicKeyLabel{{0x0A, 0x64, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kLYRPrivateKeyLabel{{0x0A, 0x65, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kBASEPrivateKeyLabel{{0x01, 0x0A, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kVINLabel{{0x02, 0x01, 0x00, 0x00, 0x00}};

/// Returns the label bytes for the text form, group and index in decimal joined by "_" ("1_11").
/// Of the group only the low byte counts. Empty when the text has no "_"; throws what std::stoi throws.
Botan::secure_vector<std::uint8_t> labelFromText(const std::string& text);

}  // namespace tee
}  // namespace ozk
