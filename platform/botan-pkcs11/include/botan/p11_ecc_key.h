// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/asn1_obj.h>
#include <botan/bigint.h>
#include <botan/ec_group.h>
#include <botan/ecc_key.h>
#include <botan/p11_object.h>
#include <botan/pk_keys.h>

#include <vector>

namespace Botan {
namespace PKCS11 {

// `ec_params` is the DER encoding of the curve (ECParameters: the object identifier of a named curve, or
// explicit parameters), `ec_point` a DER OCTET STRING around the encoded point (PKCS#11 2.40
// mechanisms, 2.3.3).

/// Class, KeyType, EcParams.
class BOTAN_PKCS11_API EC_PublicKeyGenerationProperties final : public PublicKeyProperties {
 public:
  EC_PublicKeyGenerationProperties(const std::vector<uint8_t>& ec_params);

  const std::vector<uint8_t>& ec_params() const { return m_ec_params; }

 private:
  const std::vector<uint8_t> m_ec_params;
};

/// Class, KeyType, EcParams, EcPoint.
class BOTAN_PKCS11_API EC_PublicKeyImportProperties final : public PublicKeyProperties {
 public:
  EC_PublicKeyImportProperties(const std::vector<uint8_t>& ec_params, const std::vector<uint8_t>& ec_point);

  const std::vector<uint8_t>& ec_params() const { return m_ec_params; }
  const std::vector<uint8_t>& ec_point() const { return m_ec_point; }

 private:
  const std::vector<uint8_t> m_ec_params;
  const std::vector<uint8_t> m_ec_point;
};

/// Class, KeyType.
class BOTAN_PKCS11_API EC_PrivateKeyGenerationProperties final : public PrivateKeyProperties {
 public:
  EC_PrivateKeyGenerationProperties() : PrivateKeyProperties(KeyType::Ec) {}
};

/// Class, KeyType, EcParams, Value.
class BOTAN_PKCS11_API EC_PrivateKeyImportProperties final : public PrivateKeyProperties {
 public:
  EC_PrivateKeyImportProperties(const std::vector<uint8_t>& ec_params, const BigInt& value);

  const std::vector<uint8_t>& ec_params() const { return m_ec_params; }
  const BigInt& value() const { return m_value; }

 private:
  const std::vector<uint8_t> m_ec_params;
  const BigInt m_value;
};

/// An EC public key on the token. The constructors read curve and point, and throw Decoding_Error if the
/// point is not encoded as above or not on the curve. By default the key is encoded with explicit curve
/// parameters and an uncompressed point, whatever the token stores (see set_parameter_encoding and
/// set_point_encoding).
class BOTAN_PKCS11_API PKCS11_EC_PublicKey : public virtual EC_PublicKey, public Object {
 public:
  static const ObjectClass Class = ObjectClass::PublicKey;

  PKCS11_EC_PublicKey(Session& session, ObjectHandle handle);
  PKCS11_EC_PublicKey(Session& session, const EC_PublicKeyImportProperties& props);
};

/// An EC private key on the token. The constructors read the curve from the private key's EcParams. The
/// public point is unknown until set_public_point is called.
class BOTAN_PKCS11_API PKCS11_EC_PrivateKey : public virtual Private_Key, public Object {
 public:
  static const ObjectClass Class = ObjectClass::PrivateKey;

  PKCS11_EC_PrivateKey(Session& session, ObjectHandle handle);
  PKCS11_EC_PrivateKey(Session& session, const EC_PrivateKeyImportProperties& props);

  /// Generates a key pair. The public point is set; the public key stays on the token as a session object.
  PKCS11_EC_PrivateKey(Session& session, const std::vector<uint8_t>& ec_params,
                       const EC_PrivateKeyGenerationProperties& props);

  const EC_Group& domain() const { return m_domain_params; }

  /// The point is not compared with the key.
  void set_public_point(const PointGFp& point,
                        PublicPointEncoding point_encoding = PublicPointEncoding::Der) {
    m_public_key = point;
    m_point_encoding = point_encoding;
  }

  /// Throws Invalid_State if no point was set.
  const PointGFp& public_point() const;

  PublicPointEncoding point_encoding() const { return m_point_encoding; }

  /// How algorithm_identifier() describes the curve; explicitly by default.
  void set_parameter_encoding(EC_Group_Encoding encoding) { m_parameter_encoding = encoding; }

  /// How public_key_bits() encodes the public point; compressed by default.
  void set_point_encoding(PointGFp::Compression_Type compression) { m_compression = compression; }

  std::vector<uint8_t> public_key_bits() const override;
  AlgorithmIdentifier algorithm_identifier() const override;
  size_t key_length() const override;
  size_t estimated_strength() const override;
  bool check_key(RandomNumberGenerator& rng, bool strong) const override;

 private:
  EC_Group m_domain_params;
  PointGFp m_public_key;
  PublicPointEncoding m_point_encoding = PublicPointEncoding::Der;
  EC_Group_Encoding m_parameter_encoding = EC_DOMPAR_ENC_EXPLICIT;
  PointGFp::Compression_Type m_compression = PointGFp::COMPRESSED;
};

}  // namespace PKCS11
}  // namespace Botan
