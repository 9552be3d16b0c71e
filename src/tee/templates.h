// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecc_key.h>
#include <botan/p11_object.h>
#include <botan/p11_trust_store_group.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// Attributes with which the token marks the objects of its clients.
constexpr auto kVendorKeyId = static_cast<Botan::PKCS11::AttributeType>(0x80001002UL);     ///< text
constexpr auto kVendorClientId = static_cast<Botan::PKCS11::AttributeType>(0x80001003UL);  ///< text
constexpr auto kVendorPermanent =
    static_cast<Botan::PKCS11::AttributeType>(0x80001004UL);  ///< true once installed

/// The catalogue: every template that is handed to the token, each with its attributes in the order of its
/// body. `permanent` selects installed objects, otherwise temporary ones.
Botan::PKCS11::AttributeContainer lyrPublicKeySearch(bool permanent);
Botan::PKCS11::AttributeContainer lyrPrivateKeySearch(bool permanent);
Botan::PKCS11::AttributeContainer basePrivateKeySearch();
Botan::PKCS11::AttributeContainer lyrCertificateChainSearch(bool permanent);
Botan::PKCS11::AttributeContainer temporaryPrivateKeysSearch();
Botan::PKCS11::AttributeContainer temporaryPublicKeysSearch();
Botan::PKCS11::EC_PublicKeyGenerationProperties lyrPublicKeyGeneration();
Botan::PKCS11::EC_PrivateKeyGenerationProperties lyrPrivateKeyGeneration();

/// `chain` is the certificates in DER, back to back.
Botan::PKCS11::TrustStoreGroupCertificateChainProperties lyrCertificateChainCreation(
    std::vector<std::uint8_t> chain, const std::string& key_id);

Botan::PKCS11::AttributeContainer vinSearch();

/// `label` in text form.
Botan::PKCS11::AttributeContainer certificateSearch(const std::string& label);

}  // namespace tee
}  // namespace ozk
