// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>
#include <botan/x509cert.h>

#include <string>
#include <vector>

namespace Botan {
namespace PKCS11 {

// The platform token's extensions of PKCS#11 2.40. Botan's own layer does not have this header.

/// The five bytes of an object's label: the group, then the index, lowest byte first. `label` is their text
/// form GROUP_INDEX, two decimal numbers up to 255 and 4294967295: "10_102" gives 0A 66 00 00 00. Throws
/// Invalid_Argument for any other text.
BOTAN_PKCS11_API std::vector<uint8_t> encode_label(const std::string& label);

/// Class, CertificateType (vendor-defined), Value: the template of a certificate chain.
class BOTAN_PKCS11_API TrustStoreGroupCertificateChainProperties : public CertificateProperties {
 public:
  /// `value` is the DER certificates one after another, leaf first; it may be empty.
  TrustStoreGroupCertificateChainProperties(std::vector<uint8_t> value);

  /// Sets Label from its text form, by `encode_label`.
  void set_label(const std::string& label);

  const std::vector<uint8_t>& value() const { return m_value; }

 private:
  std::vector<uint8_t> m_value;
};

/// A certificate chain on the token. (The spelling is part of the interface.)
class BOTAN_PKCS11_API PKCS11_TSG_CertficateChain : public Object,
                                                    public TrustStoreGroupCertificateChainProperties {
 public:
  static const ObjectClass Class = ObjectClass::Certificate;

  /// Wraps an existing chain. Nothing is read yet; the properties are those of an empty chain.
  PKCS11_TSG_CertficateChain(Session& session, ObjectHandle handle);

  /// Creates a chain with exactly these attributes and keeps a copy of them.
  PKCS11_TSG_CertficateChain(Session& session, const TrustStoreGroupCertificateChainProperties& props);

  /// The certificates that are on the token now, in stored order.
  /// Throws Decoding_Error if the value is not a sequence of certificates, PKCS11_ReturnError if it cannot be
  /// read.
  std::vector<X509_Certificate> getx509CertificateChain() const;
};

/// A trust store group on the token: root certificates that one client trusts for one purpose. The security
/// officer creates it.
class BOTAN_PKCS11_API PKCS11_TrustStoreGroup_Store {
 public:
  /// Opens the group `group` (compared byte for byte) of `client`.
  /// Throws Lookup_Error if this client has no such group.
  PKCS11_TrustStoreGroup_Store(Session& session, const std::string& group, const std::string& client);
  ~PKCS11_TrustStoreGroup_Store();

  /// All root certificates that are in the group now, in the token's order. Throws Decoding_Error if one
  /// cannot be decoded, and Lookup_Error if the group was deleted meanwhile: the result is never incomplete.
  std::vector<X509_Certificate> GetRootCertBundle(Session& session);

 private:
  std::string m_group;
  std::string m_client;
  std::vector<ObjectHandle> m_handles;  // of the group object
};

/// Replaces the installed key pair and its certificate chain by new ones, in one transaction of the token.
///
/// `installed` holds the handles of all permanent objects of the client and key identifier (none before the
/// first installation), `added` those of the temporary public key, private key and chain, which are left as
/// they are. Returns the token's code, 0 on success; 0x54 (FunctionNotSupported) if the module lacks the
/// function.
BOTAN_PKCS11_API unsigned long setClientCertAndMoveKey(Session& session, std::vector<unsigned long> installed,
                                                       std::vector<unsigned long> added);

}  // namespace PKCS11
}  // namespace Botan
