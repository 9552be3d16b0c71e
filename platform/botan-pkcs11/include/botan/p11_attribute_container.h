// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_low_level.h>

#include <cstdint>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

namespace Botan {
namespace PKCS11 {

/// Attributes with their values, in the order in which they were added: a template for a token.
///
/// Values are copied, so that what they came from may go. To add an attribute that is there already gives it
/// the new value in its old place.
class BOTAN_PKCS11_API AttributeContainer {
 public:
  AttributeContainer() = default;

  /// Begins with Class.
  AttributeContainer(ObjectClass object_class);

  virtual ~AttributeContainer() = default;

  AttributeContainer(AttributeContainer&&) = default;
  AttributeContainer& operator=(AttributeContainer&&) = default;
  AttributeContainer(const AttributeContainer&) = delete;
  AttributeContainer& operator=(const AttributeContainer&) = delete;

  const std::vector<Attribute>& attributes() const { return m_attributes; }

  /// The attributes as the token functions take them; invalid once another attribute is added.
  Attribute* data() const { return const_cast<Attribute*>(m_attributes.data()); }

  size_t count() const { return m_attributes.size(); }

  void add_class(ObjectClass object_class);

  /// The bytes of `value`, without a terminator.
  void add_string(AttributeType attribute, const std::string& value);

  void add_binary(AttributeType attribute, const uint8_t* value, size_t length);

  template <typename TAlloc>
  void add_binary(AttributeType attribute, const std::vector<uint8_t, TAlloc>& binary) {
    add_binary(attribute, binary.data(), binary.size());
  }

  /// One byte (CK_BBOOL).
  void add_bool(AttributeType attribute, bool value) { add_numeric(attribute, value ? True : False); }

  /// The number in as many bytes as T has. Most attributes that are numbers are of type Ulong: cast to that.
  template <typename T>
  void add_numeric(AttributeType attribute, T value) {
    static_assert(std::is_integral<T>::value, "a numeric attribute is an integer");
    add_number(attribute, &value, sizeof(T));
  }

 protected:
  /// Keeps the pointer; the value stays the caller's.
  void add_attribute(AttributeType attribute, const uint8_t* value, uint32_t size);

  /// The eight characters of a CK_DATE.
  void add_date(AttributeType attribute, const Date& date);

 private:
  void add_number(AttributeType attribute, const void* value, size_t size);
  void release_value(const void* value);

  std::vector<Attribute> m_attributes;
  std::list<uint64_t> m_numerics;  // lists, because their elements stay where they are
  std::list<std::string> m_strings;
  std::list<secure_vector<uint8_t>> m_vectors;
};

}  // namespace PKCS11
}  // namespace Botan
