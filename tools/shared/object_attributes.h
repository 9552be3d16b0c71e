// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>

#include <string>
#include <vector>

#include "base/cryptoki.h"

namespace tee_token_admin {

/// The value of an attribute; empty when the object has none, or none that is given away.
std::vector<std::uint8_t> value_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// The value as it is, as text.
std::string text_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

/// CK_UNAVAILABLE_INFORMATION when the value is no number.
CK_ULONG number_of(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

bool is_true(const Botan::PKCS11::Object& object, CK_ATTRIBUTE_TYPE type);

}  // namespace tee_token_admin
