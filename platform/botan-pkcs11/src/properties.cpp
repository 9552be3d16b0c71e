// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_properties.h>

namespace Botan {
namespace PKCS11 {

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

}  // namespace PKCS11
}  // namespace Botan
