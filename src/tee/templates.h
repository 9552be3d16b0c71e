// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecc_key.h>
#include <botan/p11_object.h>
#include <botan/p11_trust_store_group.h>
#include <botan/secmem.h>

#include <cstdint>
#include <string>

// A platform's PKCS#11 headers may have macros of these names.
#undef CKA_VENDOR_KEY_ID
#undef CKA_VENDOR_CLIENT_ID
#undef CKA_VENDOR_PERMANENT

namespace ozk {
namespace tee {

/// The token's attributes for objects of clients: key identifier (text), client identifier (text), and
/// whether the object is installed.
constexpr auto CKA_VENDOR_KEY_ID = static_cast<Botan::PKCS11::AttributeType>(0x80001002UL);
constexpr auto CKA_VENDOR_CLIENT_ID = static_cast<Botan::PKCS11::AttributeType>(0x80001003UL);
constexpr auto CKA_VENDOR_PERMANENT = static_cast<Botan::PKCS11::AttributeType>(0x80001004UL);

/// The most objects that one search returns.
constexpr std::uint32_t kMaxFound = 100;

/// Returns the five bytes of a CKA_LABEL: the low byte of the group, then the index in four bytes,
/// little-endian. `text` is group and index in decimal, joined by "_" ("1_11").
/// Empty when the text has no "_"; throws what std::stoi throws.
Botan::secure_vector<std::uint8_t> labelFromText(const std::string& text);

/// All templates that are handed to the token. Each function adds the attributes in the order in which the
/// token gets them. `permanent` selects installed objects, otherwise temporary ones.
Botan::PKCS11::AttributeContainer lyrPublicKeySearch(bool permanent);
Botan::PKCS11::AttributeContainer lyrPrivateKeySearch(bool permanent);
Botan::PKCS11::AttributeContainer basePrivateKeySearch();
Botan::PKCS11::AttributeContainer lyrCertificateChainSearch(bool permanent);
Botan::PKCS11::AttributeContainer temporaryPublicKeysSearch();
Botan::PKCS11::EC_PublicKeyGenerationProperties lyrPublicKeyGeneration();
Botan::PKCS11::EC_PrivateKeyGenerationProperties lyrPrivateKeyGeneration();

/// Adds all attributes but the value. In place, because a platform's class need not be copyable or movable.
void addLYRCertificateChainAttributes(Botan::PKCS11::TrustStoreGroupCertificateChainProperties& chain,
                                      const std::string& key_id);

Botan::PKCS11::AttributeContainer vinSearch();

/// `label` in text form.
Botan::PKCS11::AttributeContainer certificateSearch(const std::string& label);

}  // namespace tee
}  // namespace ozk
