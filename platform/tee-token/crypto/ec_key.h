// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/bytes.h"
#include "crypto/openssl_handles.h"
#include "tee_token/vendor_interface.h"

namespace tee_token {

/// A curve that the token has keys on.
struct Curve {
  const char* name;         // in libcrypto
  int nid;                  // in libcrypto
  std::size_t order_bytes;  // length of a scalar, and of each half of a signature
  CK_ULONG bits;
  const char* ec_params;  // CKA_EC_PARAMS: the DER object identifier
  std::size_t ec_params_length;
};

/// The curve that CKA_EC_PARAMS names. Throws CKR_CURVE_NOT_SUPPORTED on any other, explicit parameters
/// included.
const Curve& curve_of(const Bytes& ec_params);

/// A private key, for signing.
class EcPrivateKey {
 public:
  /// `value`: the scalar, big-endian. Throws CKR_ATTRIBUTE_VALUE_INVALID unless it is in [1, n-1].
  EcPrivateKey(const Bytes& ec_params, const Bytes& value);

  static EcPrivateKey generate(const Bytes& ec_params);

  const Curve& curve() const { return *m_curve; }
  /// The scalar, big-endian, as long as the curve's order.
  Bytes value() const;
  /// CKA_EC_POINT of the public key: a DER OCTET STRING around the uncompressed point.
  Bytes ec_point() const;

  /// ECDSA over `digest` (truncated to the order's length): r and s, each as long as the order.
  Bytes sign(ByteView digest) const;

 private:
  const Curve* m_curve;
  PKey m_key;
};

/// A public key, for verification and comparison.
class EcPublicKey {
 public:
  /// Throws CKR_ATTRIBUTE_VALUE_INVALID unless `ec_point` is a DER OCTET STRING around an uncompressed point
  /// of the curve.
  EcPublicKey(const Bytes& ec_params, const Bytes& ec_point);

  const Curve& curve() const { return *m_curve; }
  bool verifies(ByteView digest, ByteView signature) const;
  /// The DER SubjectPublicKeyInfo (RFC 5480).
  Bytes info() const;
  /// Whether `other` is the same key.
  bool equals(const EVP_PKEY* other) const;

 private:
  const Curve* m_curve;
  Bytes m_point;
  PKey m_key;
};

}  // namespace tee_token
