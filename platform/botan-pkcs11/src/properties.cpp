// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>
#include <botan/p11_x509.h>

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

/// Frees the value if this container owns it.
void AttributeContainer::release_value(const void* value) {
  m_numerics.remove_if([&](const uint64_t& owned) { return &owned == value; });
  m_strings.remove_if([&](const std::string& owned) { return owned.data() == value; });
  m_vectors.remove_if([&](const secure_vector<uint8_t>& owned) { return owned.data() == value; });
}

CertificateProperties::CertificateProperties(CertificateType cert_type)
    : StorageObjectProperties(ObjectClass::Certificate), m_cert_type(cert_type) {
  add_numeric(AttributeType::CertificateType, static_cast<CK_CERTIFICATE_TYPE>(cert_type));
}

KeyProperties::KeyProperties(ObjectClass object_class, KeyType key_type)
    : StorageObjectProperties(object_class), m_key_type(key_type) {
  add_numeric(AttributeType::KeyType, static_cast<CK_KEY_TYPE>(key_type));
}

DomainParameterProperties::DomainParameterProperties(KeyType key_type)
    : StorageObjectProperties(ObjectClass::DomainParameters), m_key_type(key_type) {
  add_numeric(AttributeType::KeyType, static_cast<CK_KEY_TYPE>(key_type));
}

void KeyProperties::set_allowed_mechanisms(const std::vector<MechanismType>&) {
  throw Not_Implemented("KeyProperties::set_allowed_mechanisms");
}

void PublicKeyProperties::set_wrap_template(const AttributeContainer&) {
  throw Not_Implemented("PublicKeyProperties::set_wrap_template");
}

void PrivateKeyProperties::set_unwrap_template(const AttributeContainer&) {
  throw Not_Implemented("PrivateKeyProperties::set_unwrap_template");
}

void SecretKeyProperties::set_wrap_template(const AttributeContainer&) {
  throw Not_Implemented("SecretKeyProperties::set_wrap_template");
}

void SecretKeyProperties::set_unwrap_template(const AttributeContainer&) {
  throw Not_Implemented("SecretKeyProperties::set_unwrap_template");
}

EC_PublicKeyGenerationProperties::EC_PublicKeyGenerationProperties(const std::vector<uint8_t>& ec_params)
    : PublicKeyProperties(KeyType::Ec), m_ec_params(ec_params) {
  add_binary(AttributeType::EcParams, m_ec_params);
}

EC_PublicKeyImportProperties::EC_PublicKeyImportProperties(const std::vector<uint8_t>& ec_params,
                                                           const std::vector<uint8_t>& ec_point)
    : PublicKeyProperties(KeyType::Ec), m_ec_params(ec_params), m_ec_point(ec_point) {
  add_binary(AttributeType::EcParams, m_ec_params);
  add_binary(AttributeType::EcPoint, m_ec_point);
}

EC_PrivateKeyImportProperties::EC_PrivateKeyImportProperties(const std::vector<uint8_t>& ec_params,
                                                             const BigInt& value)
    : PrivateKeyProperties(KeyType::Ec), m_ec_params(ec_params), m_value(value) {
  add_binary(AttributeType::EcParams, m_ec_params);
  add_binary(AttributeType::Value, BigInt::encode_locked(m_value));
}

}  // namespace PKCS11
}  // namespace Botan
