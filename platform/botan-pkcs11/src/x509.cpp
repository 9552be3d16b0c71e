// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

namespace Botan {
namespace PKCS11 {

X509_CertificateProperties::X509_CertificateProperties(const std::vector<uint8_t>& subject,
                                                       const std::vector<uint8_t>& value)
    : CertificateProperties(CertificateType::X509), m_subject(subject), m_value(value) {
  add_binary(AttributeType::Subject, m_subject);
  add_binary(AttributeType::Value, m_value);
}

X509_CertificateProperties::X509_CertificateProperties(const X509_Certificate& cert)
    : X509_CertificateProperties(cert.raw_subject_dn(), cert.BER_encode()) {}

PKCS11_X509_Certificate::PKCS11_X509_Certificate(Session& session, ObjectHandle handle)
    : Object(session, handle), X509_Certificate(unlock(get_attribute_value(AttributeType::Value))) {}

PKCS11_X509_Certificate::PKCS11_X509_Certificate(Session& session, const X509_CertificateProperties& props)
    : Object(session, props), X509_Certificate(props.value()) {}

}  // namespace PKCS11
}  // namespace Botan
