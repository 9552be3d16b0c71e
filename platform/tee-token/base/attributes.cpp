// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/attributes.h"

#include "base/error.h"

namespace tee_token {
namespace {

// Far above any certificate chain, far below what libcrypto and SQLite can take in one piece.
constexpr CK_ULONG kMaxValueLength = 1UL << 24;

ByteView value_of(const CK_ATTRIBUTE& attribute, const AttributeRule& rule) {
  if (attribute.pValue == nullptr && attribute.ulValueLen != 0) {
    throw Error(CKR_ARGUMENTS_BAD, std::string("the value of ") + rule.name + " is a null pointer");
  }
  if (attribute.ulValueLen > kMaxValueLength) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, std::string(rule.name) + " is longer than 16 MiB");
  }
  return ByteView(attribute.pValue, attribute.ulValueLen);
}

}  // namespace

Attributes::Attributes(const CK_ATTRIBUTE* first, CK_ULONG count) {
  if (first == nullptr && count != 0) {
    throw Error(CKR_ARGUMENTS_BAD, "the template is a null pointer");
  }
  for (const CK_ATTRIBUTE* attribute = first; attribute != first + count; ++attribute) {
    const AttributeRule& rule = rule_of(attribute->type);
    const Bytes value = value_of(*attribute, rule).copy();
    require_layout(rule, value);
    if (!m_values.emplace(rule.type, value).second) {
      throw Error(CKR_TEMPLATE_INCONSISTENT, std::string(rule.name) + " is given twice");
    }
  }
}

const Bytes& Attributes::at(CK_ATTRIBUTE_TYPE type) const {
  const auto found = m_values.find(type);
  if (found == m_values.end()) {
    const AttributeRule* const rule = find_rule(type);
    throw Error(CKR_TEMPLATE_INCOMPLETE,
                (rule != nullptr ? std::string(rule->name) : std::to_string(type)) + " is missing");
  }
  return found->second;
}

CK_ULONG Attributes::size() const {
  CK_ULONG sum = 0;
  for (const auto& [type, value] : m_values) {
    sum += sizeof type + value.size();
  }
  return sum;
}

Bytes Attributes::encode() const {
  Bytes encoded;
  for (const auto& [type, value] : m_values) {
    append(encoded, bytes_of<std::uint64_t>(type));
    append(encoded, bytes_of<std::uint64_t>(value.size()));
    append(encoded, value);
  }
  return encoded;
}

std::optional<Attributes> Attributes::decode(ByteView bytes) {
  constexpr std::size_t kWidth = sizeof(std::uint64_t);
  Attributes attributes;
  while (bytes.size >= 2 * kWidth) {
    const auto type = number_of<std::uint64_t>(bytes);
    const auto length = number_of<std::uint64_t>(ByteView(bytes.data + kWidth, kWidth));
    const ByteView rest(bytes.data + 2 * kWidth, bytes.size - 2 * kWidth);
    if (length > rest.size) {
      return std::nullopt;
    }
    attributes.set(type, ByteView(rest.data, length).copy());
    bytes = ByteView(rest.data + length, rest.size - length);
  }
  return bytes.size == 0 ? std::optional<Attributes>(attributes) : std::nullopt;
}

}  // namespace tee_token
