// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_attribute_container.h>

#include <algorithm>
#include <cstring>

namespace Botan {
namespace PKCS11 {

AttributeContainer::AttributeContainer(ObjectClass object_class) { add_class(object_class); }

void AttributeContainer::add_class(ObjectClass object_class) {
  add_numeric(AttributeType::Class, static_cast<CK_OBJECT_CLASS>(object_class));
}

void AttributeContainer::add_string(AttributeType attribute, const std::string& value) {
  m_strings.push_back(value);
  add_attribute(attribute, reinterpret_cast<const uint8_t*>(m_strings.back().data()),
                static_cast<uint32_t>(value.size()));
}

void AttributeContainer::add_binary(AttributeType attribute, const uint8_t* value, size_t length) {
  if (length == 0) {
    add_attribute(attribute, nullptr, 0);
    return;
  }
  m_vectors.emplace_back(value, value + length);
  add_attribute(attribute, m_vectors.back().data(), static_cast<uint32_t>(length));
}

void AttributeContainer::add_date(AttributeType attribute, const Date& date) {
  add_binary(attribute, reinterpret_cast<const uint8_t*>(&date), sizeof(date));
}

void AttributeContainer::add_number(AttributeType attribute, const void* value, size_t size) {
  m_numerics.push_back(0);
  std::memcpy(&m_numerics.back(), value, size);
  add_attribute(attribute, reinterpret_cast<const uint8_t*>(&m_numerics.back()), static_cast<uint32_t>(size));
}

void AttributeContainer::add_attribute(AttributeType attribute, const uint8_t* value, uint32_t size) {
  const Attribute added{static_cast<CK_ATTRIBUTE_TYPE>(attribute), const_cast<uint8_t*>(value), size};
  const auto present = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [&](const Attribute& other) { return other.type == added.type; });
  if (present == m_attributes.end()) {
    m_attributes.push_back(added);
    return;
  }
  release_value(present->pValue);
  *present = added;
}

/// Frees the value if it is one of ours.
void AttributeContainer::release_value(const void* value) {
  m_numerics.remove_if([&](const uint64_t& owned) { return &owned == value; });
  m_strings.remove_if([&](const std::string& owned) { return owned.data() == value; });
  m_vectors.remove_if([&](const secure_vector<uint8_t>& owned) { return owned.data() == value; });
}

}  // namespace PKCS11
}  // namespace Botan
