// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>
#include <botan/workfactor.h>

#include "ec_token_key.h"

namespace Botan {
namespace PKCS11 {

PKCS11_EC_PrivateKey::PKCS11_EC_PrivateKey(Session& session, ObjectHandle handle)
    : Object(session, handle), m_domain_params(get_attribute_value(AttributeType::EcParams)) {}

PKCS11_EC_PrivateKey::PKCS11_EC_PrivateKey(Session& session, const EC_PrivateKeyImportProperties& props)
    : Object(session, props), m_domain_params(props.ec_params()) {}

PKCS11_EC_PrivateKey::PKCS11_EC_PrivateKey(Session& session, const std::vector<uint8_t>& ec_params,
                                           const EC_PrivateKeyGenerationProperties& props)
    : Object(session), m_domain_params(ec_params) {
  EC_PublicKeyGenerationProperties public_props(ec_params);
  public_props.set_verify(true);
  public_props.set_private(false);
  public_props.set_token(false);

  const EC_KeyPairHandles pair = generate_ec_key_pair(session, public_props, props);
  reset_handle(pair.private_key);

  const Object public_key(session, pair.public_key);
  m_public_key =
      decode_ec_point(m_domain_params, unlock(public_key.get_attribute_value(AttributeType::EcPoint)));
}

const PointGFp& PKCS11_EC_PrivateKey::public_point() const {
  if (m_public_key.is_zero()) {
    throw Invalid_State(
        "Public point not set. Inferring the public key from a PKCS#11 ec private key is not possible.");
  }
  return m_public_key;
}

std::vector<uint8_t> PKCS11_EC_PrivateKey::public_key_bits() const {
  return public_point().encode(m_compression);
}

AlgorithmIdentifier PKCS11_EC_PrivateKey::algorithm_identifier() const {
  return AlgorithmIdentifier(get_oid(), domain().DER_encode(m_parameter_encoding));
}

size_t PKCS11_EC_PrivateKey::key_length() const { return domain().get_order_bits(); }

size_t PKCS11_EC_PrivateKey::estimated_strength() const { return ecp_work_factor(key_length()); }

bool PKCS11_EC_PrivateKey::check_key(RandomNumberGenerator&, bool) const {
  return public_point().on_the_curve();
}

}  // namespace PKCS11
}  // namespace Botan
