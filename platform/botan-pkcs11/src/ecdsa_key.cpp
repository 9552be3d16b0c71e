// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/keypair.h>
#include <botan/p11_ecdsa.h>
#include <botan/pk_ops.h>
#include <botan/system_rng.h>

#include "ec_token_key.h"
#include "ecdsa_operations.h"

namespace Botan {
namespace PKCS11 {

ECDSA_PublicKey PKCS11_ECDSA_PublicKey::export_key() const {
  return ECDSA_PublicKey(domain(), public_point());
}

std::unique_ptr<PK_Ops::Verification> PKCS11_ECDSA_PublicKey::create_verification_op(
    const std::string& params, const std::string&) const {
  return make_ecdsa_verification(*this, params);
}

ECDSA_PrivateKey PKCS11_ECDSA_PrivateKey::export_key() const {
  return ECDSA_PrivateKey(system_rng(), domain(), BigInt::decode(get_attribute_value(AttributeType::Value)));
}

secure_vector<uint8_t> PKCS11_ECDSA_PrivateKey::private_key_bits() const {
  return export_key().private_key_bits();
}

bool PKCS11_ECDSA_PrivateKey::check_key(RandomNumberGenerator& rng, bool strong) const {
  if (!PKCS11_EC_PrivateKey::check_key(rng, strong)) {
    return false;
  }
  const ECDSA_PublicKey public_key(domain(), public_point());
  return !strong || KeyPair::signature_consistency_check(rng, *this, public_key, "EMSA1(SHA-256)");
}

std::unique_ptr<PK_Ops::Signature> PKCS11_ECDSA_PrivateKey::create_signature_op(RandomNumberGenerator&,
                                                                                const std::string& params,
                                                                                const std::string&) const {
  return make_ecdsa_signature(*this, params);
}

PKCS11_ECDSA_KeyPair generate_ecdsa_keypair(Session& session,
                                            const EC_PublicKeyGenerationProperties& pub_props,
                                            const EC_PrivateKeyGenerationProperties& priv_props) {
  const EC_KeyPairHandles pair = generate_ec_key_pair(session, pub_props, priv_props);
  return {PKCS11_ECDSA_PublicKey(session, pair.public_key),
          PKCS11_ECDSA_PrivateKey(session, pair.private_key)};
}

}  // namespace PKCS11
}  // namespace Botan
