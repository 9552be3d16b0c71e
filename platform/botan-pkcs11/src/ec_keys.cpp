// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/ber_dec.h>
#include <botan/keypair.h>
#include <botan/p11_ecdsa.h>
#include <botan/system_rng.h>
#include <botan/workfactor.h>

namespace Botan {
namespace PKCS11 {

namespace {

/// The point in a CKA_EC_POINT value: one DER OCTET STRING that holds an encoded point on the curve, not at
/// infinity. Anything else throws Invalid_Argument, mostly Decoding_Error. A bare point starts with the tag
/// of an OCTET STRING too, so length and end are checked as well.
PointGFp decode_ec_point(const EC_Group& group, const std::vector<uint8_t>& ec_point) {
  std::vector<uint8_t> encoded;
  BER_Decoder(ec_point).decode(encoded, OCTET_STRING).verify_end();
  const PointGFp point = group.OS2ECP(encoded);
  if (point.is_zero()) {
    throw Decoding_Error("EC public point is at infinity");
  }
  return point;
}

struct EC_KeyPairHandles {
  ObjectHandle public_key;
  ObjectHandle private_key;
};

EC_KeyPairHandles generate_ec_key_pair(Session& session, const PublicKeyProperties& public_props,
                                       const PrivateKeyProperties& private_props) {
  Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(MechanismType::EcKeyPairGen), nullptr, 0};
  EC_KeyPairHandles handles = {0, 0};
  session.module()->C_GenerateKeyPair(session.handle(), &mechanism, public_props.data(), public_props.count(),
                                      private_props.data(), private_props.count(), &handles.public_key,
                                      &handles.private_key);
  return handles;
}

}  // namespace

PKCS11_EC_PublicKey::PKCS11_EC_PublicKey(Session& session, ObjectHandle handle) : Object(session, handle) {
  m_domain_params = EC_Group(get_attribute_value(AttributeType::EcParams));
  m_public_key = decode_ec_point(m_domain_params, unlock(get_attribute_value(AttributeType::EcPoint)));
}

PKCS11_EC_PublicKey::PKCS11_EC_PublicKey(Session& session, const EC_PublicKeyImportProperties& props)
    : Object(session, props) {
  m_domain_params = EC_Group(props.ec_params());
  m_public_key = decode_ec_point(m_domain_params, props.ec_point());
}

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

ECDSA_PublicKey PKCS11_ECDSA_PublicKey::export_key() const {
  return ECDSA_PublicKey(domain(), public_point());
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

PKCS11_ECDSA_KeyPair generate_ecdsa_keypair(Session& session,
                                            const EC_PublicKeyGenerationProperties& pub_props,
                                            const EC_PrivateKeyGenerationProperties& priv_props) {
  const EC_KeyPairHandles pair = generate_ec_key_pair(session, pub_props, priv_props);
  return {PKCS11_ECDSA_PublicKey(session, pair.public_key),
          PKCS11_ECDSA_PrivateKey(session, pair.private_key)};
}

}  // namespace PKCS11
}  // namespace Botan
