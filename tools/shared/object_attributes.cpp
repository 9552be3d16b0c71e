// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/object_attributes.h"

#include <botan/exceptn.h>
#include <botan/hex.h>
#include <botan/loadstor.h>
#include <botan/p11_trust_store_group.h>

#include <cstring>

#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

std::vector<std::uint8_t> value_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  try {
    return Botan::unlock(object.get_attribute_value(static_cast<AttributeType>(type)));
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::AttributeTypeInvalid &&
        error.get_return_value() != ReturnValue::AttributeSensitive) {
      throw;
    }
    return {};
  }
}

std::string text_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  return std::string(value.begin(), value.end());
}

CK_ULONG number_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  CK_ULONG number = CK_UNAVAILABLE_INFORMATION;
  if (value.size() == sizeof number) {
    std::memcpy(&number, value.data(), sizeof number);
  }
  return number;
}

bool is_true(const Object& object, CK_ATTRIBUTE_TYPE type) {
  return value_of(object, type) == std::vector<std::uint8_t>{CK_TRUE};
}

std::vector<std::uint8_t> label_bytes(const std::string& text) {
  try {
    return encode_label(text);
  } catch (const Botan::Invalid_Argument& refused) {
    throw UsageError(refused.what());
  }
}

std::string label_text(const std::vector<std::uint8_t>& bytes) {
  if (bytes.size() != 5) {
    return Botan::hex_encode(bytes);
  }
  return std::to_string(bytes[0]) + "_" + std::to_string(Botan::load_le<std::uint32_t>(bytes.data() + 1, 0));
}

}  // namespace tee_token_admin
