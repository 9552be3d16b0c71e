// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>
#include <botan/x509cert.h>

#include <vector>

namespace Botan {
namespace PKCS11 {

/// Class, CertificateType (X.509), Subject, Value. Other attributes are not taken from the certificate.
class BOTAN_PKCS11_API X509_CertificateProperties final : public CertificateProperties {
 public:
  /// `subject` is the DER name, `value` the DER certificate.
  X509_CertificateProperties(const std::vector<uint8_t>& subject, const std::vector<uint8_t>& value);
  X509_CertificateProperties(const X509_Certificate& cert);

  void set_id(const std::vector<uint8_t>& id) { add_binary(AttributeType::Id, id); }
  void set_issuer(const std::vector<uint8_t>& der) { add_binary(AttributeType::Issuer, der); }
  void set_serial(const std::vector<uint8_t>& der) { add_binary(AttributeType::SerialNumber, der); }
  void set_subject_pubkey_hash(const std::vector<uint8_t>& hash) {
    add_binary(AttributeType::HashOfSubjectPublicKey, hash);
  }
  void set_issuer_pubkey_hash(const std::vector<uint8_t>& hash) {
    add_binary(AttributeType::HashOfIssuerPublicKey, hash);
  }
  void set_hash_alg(MechanismType value) {
    add_numeric(AttributeType::NameHashAlgorithm, static_cast<CK_MECHANISM_TYPE>(value));
  }

  const std::vector<uint8_t>& subject() const { return m_subject; }
  const std::vector<uint8_t>& value() const { return m_value; }

 private:
  const std::vector<uint8_t> m_subject;
  const std::vector<uint8_t> m_value;
};

/// A certificate on the token. The constructors parse it and throw Decoding_Error if that fails.
class BOTAN_PKCS11_API PKCS11_X509_Certificate final : public Object, public X509_Certificate {
 public:
  static const ObjectClass Class = ObjectClass::Certificate;

  PKCS11_X509_Certificate(Session& session, ObjectHandle handle);

  /// Creates the object before parsing: it stays on the token if parsing fails.
  PKCS11_X509_Certificate(Session& session, const X509_CertificateProperties& props);
};

}  // namespace PKCS11
}  // namespace Botan
