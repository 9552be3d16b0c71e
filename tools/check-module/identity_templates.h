// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecc_key.h>
#include <botan/p11_trust_store_group.h>

#include <string>
#include <vector>

namespace tee_token_admin {

/// By what the objects of an identity are known. Without a client: by their labels alone, as on a token that
/// has no vendor attributes.
struct IdentityMarks {
  std::string client, key_id;
  std::string public_key, private_key, chain;  // labels in text form
};

// The templates that the library hands to a token, in its order, with other marks.

Botan::PKCS11::EC_PublicKeyGenerationProperties public_key_generation(const IdentityMarks& marks);
Botan::PKCS11::EC_PrivateKeyGenerationProperties private_key_generation(const IdentityMarks& marks);
Botan::PKCS11::TrustStoreGroupCertificateChainProperties chain_creation(const IdentityMarks& marks,
                                                                        std::vector<std::uint8_t> chain);

Botan::PKCS11::AttributeContainer public_key_search(const IdentityMarks& marks, bool permanent);
Botan::PKCS11::AttributeContainer private_key_search(const IdentityMarks& marks, bool permanent);
Botan::PKCS11::AttributeContainer chain_search(const IdentityMarks& marks, bool permanent);

}  // namespace tee_token_admin
