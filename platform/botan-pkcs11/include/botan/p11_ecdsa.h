// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/ecdsa.h>
#include <botan/p11.h>
#include <botan/p11_ecc_key.h>
#include <botan/pk_keys.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Botan {
namespace PKCS11 {

// Operations take "Raw" (the token signs the bytes as they are) or a name with one of SHA-160, SHA-224,
// SHA-256, SHA-384, SHA-512 in parentheses, as "EMSA1(SHA-256)" (the token hashes); a name without
// parentheses means SHA-512. Others throw Lookup_Error. Provider names are ignored. An operation refers to
// its key.

/// An ECDSA public key on the token. The token verifies.
class BOTAN_PKCS11_API PKCS11_ECDSA_PublicKey final : public PKCS11_EC_PublicKey,
                                                      public virtual ECDSA_PublicKey {
 public:
  PKCS11_ECDSA_PublicKey(Session& session, ObjectHandle handle)
      : EC_PublicKey(), PKCS11_EC_PublicKey(session, handle) {}
  PKCS11_ECDSA_PublicKey(Session& session, const EC_PublicKeyImportProperties& props)
      : EC_PublicKey(), PKCS11_EC_PublicKey(session, props) {}

  std::string algo_name() const override { return "ECDSA"; }

  /// A copy in software, encoded with the curve's object identifier if it has one.
  ECDSA_PublicKey export_key() const;

  std::unique_ptr<PK_Ops::Verification> create_verification_op(const std::string& params,
                                                               const std::string& provider) const override;
};

/// An ECDSA private key on the token. The token signs.
class BOTAN_PKCS11_API PKCS11_ECDSA_PrivateKey final : public PKCS11_EC_PrivateKey {
 public:
  PKCS11_ECDSA_PrivateKey(Session& session, ObjectHandle handle) : PKCS11_EC_PrivateKey(session, handle) {}
  PKCS11_ECDSA_PrivateKey(Session& session, const EC_PrivateKeyImportProperties& props)
      : PKCS11_EC_PrivateKey(session, props) {}
  PKCS11_ECDSA_PrivateKey(Session& session, const std::vector<uint8_t>& ec_params,
                          const EC_PrivateKeyGenerationProperties& props)
      : PKCS11_EC_PrivateKey(session, ec_params, props) {}

  std::string algo_name() const override { return "ECDSA"; }
  size_t message_parts() const override { return 2; }
  size_t message_part_size() const override { return domain().get_order_bytes(); }

  /// A copy in software. Throws PKCS11_ReturnError if the key may not be read.
  ECDSA_PrivateKey export_key() const;
  secure_vector<uint8_t> private_key_bits() const override;

  /// Whether the public point is on the curve and, if `strong`, verifies a signature made by the token.
  bool check_key(RandomNumberGenerator& rng, bool strong) const override;

  std::unique_ptr<PK_Ops::Signature> create_signature_op(RandomNumberGenerator& rng,
                                                         const std::string& params,
                                                         const std::string& provider) const override;
};

using PKCS11_ECDSA_KeyPair = std::pair<PKCS11_ECDSA_PublicKey, PKCS11_ECDSA_PrivateKey>;

/// Generates a key pair from the two templates as they are. The private key's public point is not set.
BOTAN_PKCS11_API PKCS11_ECDSA_KeyPair
generate_ecdsa_keypair(Session& session, const EC_PublicKeyGenerationProperties& pub_props,
                       const EC_PrivateKeyGenerationProperties& priv_props);

}  // namespace PKCS11
}  // namespace Botan
