// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <optional>

#include "base/attribute_table.h"

namespace tee_token {

/// Attributes of an object, or those asked for in a search.
class Attributes {
 public:
  using Map = std::map<CK_ATTRIBUTE_TYPE, Bytes>;

  Attributes() = default;

  /// Reads a caller's template. Throws CKR_ARGUMENTS_BAD on a null pointer, CKR_ATTRIBUTE_TYPE_INVALID on an
  /// unknown attribute, CKR_ATTRIBUTE_VALUE_INVALID on a value of the wrong layout, and
  /// CKR_TEMPLATE_INCONSISTENT when an attribute is given twice.
  Attributes(const CK_ATTRIBUTE* first, CK_ULONG count);

  bool has(CK_ATTRIBUTE_TYPE type) const { return m_values.count(type) != 0; }

  /// All attributes in one string of bytes, by rising types: of each the type, the length of the value (8
  /// bytes each, native byte order) and the value.
  Bytes encode() const;
  /// The reverse; nothing when `bytes` are not such a string.
  static std::optional<Attributes> decode(ByteView bytes);

  /// Throws CKR_TEMPLATE_INCOMPLETE when the attribute is absent.
  const Bytes& at(CK_ATTRIBUTE_TYPE type) const;
  CK_ULONG number(CK_ATTRIBUTE_TYPE type) const { return number_of<CK_ULONG>(at(type)); }
  /// An absent attribute is false.
  bool is_true(CK_ATTRIBUTE_TYPE type) const {
    return has(type) && !at(type).empty() && at(type)[0] != CK_FALSE;
  }

  void set(CK_ATTRIBUTE_TYPE type, Bytes value) { m_values[type] = std::move(value); }
  void set_number(CK_ATTRIBUTE_TYPE type, CK_ULONG value) { set(type, bytes_of(value)); }
  void set_bool(CK_ATTRIBUTE_TYPE type, bool value) { set(type, Bytes(1, value ? CK_TRUE : CK_FALSE)); }
  void set_if_absent(CK_ATTRIBUTE_TYPE type, Bytes value) { m_values.emplace(type, std::move(value)); }
  void erase(CK_ATTRIBUTE_TYPE type) { m_values.erase(type); }

  /// Of all types and values, in bytes.
  CK_ULONG size() const;

  bool operator==(const Attributes& other) const { return m_values == other.m_values; }
  bool empty() const { return m_values.empty(); }
  Map::const_iterator begin() const { return m_values.begin(); }
  Map::const_iterator end() const { return m_values.end(); }

 private:
  Map m_values;
};

}  // namespace tee_token
