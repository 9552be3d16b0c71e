// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tee_token/vendor_interface.h"

namespace tee_token_admin {

/// The value of an attribute; empty when the object has none, or does not disclose it.
std::vector<std::uint8_t> value_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// The bytes of the value as text.
std::string text_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// CK_UNAVAILABLE_INFORMATION when the value is not a number.
CK_ULONG number_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

bool is_true(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// The five bytes of a label in text form, "1_10": the group, then the index, lowest byte first.
/// Throws UsageError for any other text.
std::vector<std::uint8_t> label_bytes(const std::string& text);

/// The text form of a label: "1_10"; of one that does not have five bytes, the bytes in hexadecimal.
std::string label_text(const std::vector<std::uint8_t>& bytes);

}  // namespace tee_token_admin
