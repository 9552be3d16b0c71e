// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>
#include <botan/x509cert.h>

#include <string>
#include <vector>

namespace Botan {
namespace PKCS11 {

// What the platform's token offers beyond PKCS #11 2.40. No other Botan has this header.

/// The five bytes of an object's label from its text form GROUP_INDEX, two decimal numbers up to 255 and
/// 4294967295: "10_102" gives 0A 66 00 00 00, the group and then the index, lowest byte first. Throws
/// Invalid_Argument for any other text.
BOTAN_PKCS11_API std::vector<uint8_t> encode_label(const std::string& label);

/// Class, CertificateType (a value of the token's own), Value: the template of a certificate chain.
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

/// A certificate chain on the token. (The name is misspelt by long custom.)
class BOTAN_PKCS11_API PKCS11_TSG_CertficateChain : public Object,
                                                    public TrustStoreGroupCertificateChainProperties {
 public:
  static const ObjectClass Class = ObjectClass::Certificate;

  /// Wraps a chain that is there. Nothing is read yet; the properties are those of an empty chain.
  PKCS11_TSG_CertficateChain(Session& session, ObjectHandle handle);

  /// Creates the chain with exactly these attributes, and takes them for its own properties.
  PKCS11_TSG_CertficateChain(Session& session, const TrustStoreGroupCertificateChainProperties& props);

  /// The certificates that the object on the token has now, in their order.
  /// Throws Decoding_Error when its value is anything but certificates, PKCS11_ReturnError when it cannot be
  /// read.
  std::vector<X509_Certificate> getx509CertificateChain() const;

 private:
  mutable std::vector<uint8_t> m_encoded;  // what m_certificates were parsed from
  mutable std::vector<X509_Certificate> m_certificates;
};

/// A trust store group on the token: root certificates that one client trusts for one purpose. The security
/// officer puts them there.
class BOTAN_PKCS11_API PKCS11_TrustStoreGroup_Store {
 public:
  /// Opens the group with the identifier `group`, which is compared byte for byte, as `client`.
  /// Throws Lookup_Error when the token has no such group, or has it for another client only.
  PKCS11_TrustStoreGroup_Store(Session& session, const std::string& group, const std::string& client);
  ~PKCS11_TrustStoreGroup_Store();

  /// The roots that the token has now in this group, all of them, in the token's order; none when the group
  /// is empty. Throws Decoding_Error when one is no certificate, and Lookup_Error when the group is gone by
  /// the time that they are read: nothing is left out of a trust store.
  std::vector<X509_Certificate> GetRootCertBundle(Session& session);

 private:
  std::string m_group;
  std::string m_client;
  std::vector<ObjectHandle> m_handles;  // of the group's object
};

/// Has the token put one key pair and its certificate chain in the place of the installed ones, at once or
/// not at all.
///
/// `installed` holds the handles of all permanent objects of the client and key identifier (none before the
/// first installation), `added` those of the new public key, private key and chain, which stay as they are.
/// Returns the token's code, 0 on success; 0x54 (FunctionNotSupported) when the module has no such function.
BOTAN_PKCS11_API unsigned long setClientCertAndMoveKey(Session& session, std::vector<unsigned long> installed,
                                                       std::vector<unsigned long> added);

}  // namespace PKCS11
}  // namespace Botan
