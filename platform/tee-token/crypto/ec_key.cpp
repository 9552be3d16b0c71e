// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/ec_key.h"

#include <openssl/objects.h>

#include <algorithm>

#include "base/error.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

// Object identifiers of SEC 2: 1.2.840.10045.3.1.7, 1.3.132.0.34, 1.3.132.0.35.
constexpr Curve kCurves[] = {
    {"prime256v1", NID_X9_62_prime256v1, 32, 256, "\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07", 10},
    {"secp384r1", NID_secp384r1, 48, 384, "\x06\x05\x2B\x81\x04\x00\x22", 7},
    {"secp521r1", NID_secp521r1, 66, 521, "\x06\x05\x2B\x81\x04\x00\x23", 7},
};

Group group_of(const Curve& curve) {
  return Group(
      require_handle(EC_GROUP_new_by_curve_name_ex(library_context(), nullptr, curve.nid), "the curve"));
}

BigNumber number_in(ByteView bytes) {
  return BigNumber(require_handle(BN_bin2bn(bytes.data, static_cast<int>(bytes.size), nullptr), "a number"));
}

PKeyContext context_of(const PKey& key) {
  return PKeyContext(
      require_handle(EVP_PKEY_CTX_new_from_pkey(library_context(), key.get(), nullptr), "ECDSA"));
}

// `part` is the private value or the public point.
PKey key_from(const Curve& curve, const OSSL_PARAM& part, int selection) {
  OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, const_cast<char*>(curve.name), 0), part,
      OSSL_PARAM_construct_end()};
  // By the object identifier: for the name "EC", libcrypto would first use an ENGINE of the host program.
  const PKeyContext context(require_handle(
      EVP_PKEY_CTX_new_from_name(library_context(), "1.2.840.10045.2.1", nullptr), curve.name));
  require_openssl(EVP_PKEY_fromdata_init(context.get()) == 1, curve.name);
  EVP_PKEY* key = nullptr;
  require_openssl(EVP_PKEY_fromdata(context.get(), &key, selection, parameters) == 1, "the key");
  return PKey(key);
}

// The DER encoding; `content` has less than 256 bytes.
Bytes der(std::uint8_t tag, const Bytes& content) {
  Bytes encoded = {tag};
  if (content.size() >= 0x80) {
    encoded.push_back(0x81);
  }
  encoded.push_back(static_cast<std::uint8_t>(content.size()));
  append(encoded, content);
  return encoded;
}

// The point in `ec_point`. Other encodings than DER are refused, because keys are compared by CKA_EC_POINT.
Bytes uncompressed_point(const Curve& curve, const Bytes& ec_point) {
  // On these curves a coordinate is as long as the order.
  const std::size_t length = std::min(1 + 2 * curve.order_bytes, ec_point.size());
  const Bytes point = ByteView(ec_point.data() + (ec_point.size() - length), length).copy();
  if (point.empty() || point[0] != POINT_CONVERSION_UNCOMPRESSED ||
      der(V_ASN1_OCTET_STRING, point) != ec_point) {
    throw Error(
        CKR_ATTRIBUTE_VALUE_INVALID,
        "CKA_EC_POINT is not a DER OCTET STRING around an uncompressed point of " + std::string(curve.name));
  }
  return point;
}

bool in_range(const Curve& curve, const BIGNUM* scalar) {
  const Group group = group_of(curve);
  return !BN_is_zero(scalar) && BN_cmp(scalar, EC_GROUP_get0_order(group.get())) < 0;
}

Bytes fixed_width(const EcdsaSignature& signature, std::size_t width) {
  Bytes bytes(2 * width);
  require_openssl(
      BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), bytes.data(), static_cast<int>(width)) >= 0 &&
          BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), bytes.data() + width, static_cast<int>(width)) >= 0,
      "ECDSA");
  return bytes;
}

}  // namespace

const Curve& curve_of(const Bytes& ec_params) {
  for (const Curve& curve : kCurves) {
    if (ec_params == ByteView(curve.ec_params, curve.ec_params_length).copy()) {
      return curve;
    }
  }
  throw Error(CKR_CURVE_NOT_SUPPORTED,
              "CKA_EC_PARAMS must be the object identifier of secp256r1, secp384r1 or secp521r1");
}

EcPrivateKey::EcPrivateKey(const Bytes& ec_params, const Bytes& value) : m_curve(&curve_of(ec_params)) {
  const BigNumber scalar = number_in(value);
  if (!in_range(*m_curve, scalar.get())) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "the private value is not in the range of the curve's order");
  }
  Bytes native(m_curve->order_bytes);
  require_openssl(BN_bn2nativepad(scalar.get(), native.data(), static_cast<int>(native.size())) >= 0,
                  "the private value");
  m_key = key_from(*m_curve, OSSL_PARAM_construct_BN(OSSL_PKEY_PARAM_PRIV_KEY, native.data(), native.size()),
                   EVP_PKEY_KEYPAIR);
}

// By rejection sampling (FIPS 186-5, A.2.2): EVP_PKEY_generate would use a RAND_METHOD of the host program.
EcPrivateKey EcPrivateKey::generate(const Bytes& ec_params) {
  const Curve& curve = curve_of(ec_params);
  Bytes value;
  do {
    value = random_bytes(curve.order_bytes);
    value[0] = static_cast<std::uint8_t>(value[0] & (0xFF >> (8 * curve.order_bytes - curve.bits)));
  } while (!in_range(curve, number_in(value).get()));
  return EcPrivateKey(ec_params, value);
}

Bytes EcPrivateKey::value() const {
  BIGNUM* scalar = nullptr;
  require_openssl(EVP_PKEY_get_bn_param(m_key.get(), OSSL_PKEY_PARAM_PRIV_KEY, &scalar) == 1,
                  "the private value");
  const BigNumber owned(scalar);
  Bytes bytes(m_curve->order_bytes);
  require_openssl(BN_bn2binpad(scalar, bytes.data(), static_cast<int>(bytes.size())) >= 0,
                  "the private value");
  return bytes;
}

Bytes EcPrivateKey::ec_point() const {
  const Group group = group_of(*m_curve);
  const BigNumber scalar = number_in(value());
  const Point point(require_handle(EC_POINT_new(group.get()), "the public point"));
  require_openssl(EC_POINT_mul(group.get(), point.get(), scalar.get(), nullptr, nullptr, nullptr) == 1,
                  "the public point");
  Bytes encoded(1 + 2 * m_curve->order_bytes);
  require_openssl(EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, encoded.data(),
                                     encoded.size(), nullptr) == encoded.size(),
                  "the public point");
  return der(V_ASN1_OCTET_STRING, encoded);
}

Bytes EcPrivateKey::sign(ByteView digest) const {
  const PKeyContext context = context_of(m_key);
  Bytes der(static_cast<std::size_t>(std::max(0, EVP_PKEY_get_size(m_key.get()))));
  std::size_t length = der.size();
  require_openssl(!der.empty() && EVP_PKEY_sign_init(context.get()) == 1 &&
                      EVP_PKEY_sign(context.get(), der.data(), &length, digest.data, digest.size) == 1,
                  "ECDSA");
  const std::uint8_t* end = der.data();
  const EcdsaSignature signature(
      require_handle(d2i_ECDSA_SIG(nullptr, &end, static_cast<long>(length)), "ECDSA"));
  return fixed_width(signature, m_curve->order_bytes);
}

EcPublicKey::EcPublicKey(const Bytes& ec_params, const Bytes& ec_point)
    : m_curve(&curve_of(ec_params)), m_point(uncompressed_point(*m_curve, ec_point)) {
  const OSSL_PARAM part =
      OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, m_point.data(), m_point.size());
  try {
    m_key = key_from(*m_curve, part, EVP_PKEY_PUBLIC_KEY);
  } catch (const Failure&) {
    if (ERR_GET_REASON(ERR_peek_last_error()) == EC_R_UNKNOWN_GROUP) {
      throw;
    }
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, std::string("CKA_EC_POINT is not a point of ") + m_curve->name);
  }
}

bool EcPublicKey::verifies(ByteView digest, ByteView signature) const {
  const std::size_t width = m_curve->order_bytes;
  BigNumber r = number_in(ByteView(signature.data, width));
  BigNumber s = number_in(ByteView(signature.data + width, width));
  const EcdsaSignature halves(require_handle(ECDSA_SIG_new(), "ECDSA"));
  require_openssl(ECDSA_SIG_set0(halves.get(), r.release(), s.release()) == 1, "ECDSA");
  Bytes der(static_cast<std::size_t>(std::max(0, i2d_ECDSA_SIG(halves.get(), nullptr))));
  std::uint8_t* end = der.data();
  require_openssl(!der.empty() && i2d_ECDSA_SIG(halves.get(), &end) > 0, "ECDSA");
  const PKeyContext context = context_of(m_key);
  require_openssl(EVP_PKEY_verify_init(context.get()) == 1, "ECDSA");
  const int result = EVP_PKEY_verify(context.get(), der.data(), der.size(), digest.data, digest.size);
  require_openssl(result >= 0, "ECDSA");
  return result == 1;
}

Bytes EcPublicKey::info() const {
  constexpr std::uint8_t kSequence = V_ASN1_SEQUENCE | V_ASN1_CONSTRUCTED;
  Bytes algorithm = ByteView("\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01", 9).copy();  // id-ecPublicKey
  append(algorithm, ByteView(m_curve->ec_params, m_curve->ec_params_length));
  Bytes bits = {0};  // none is unused
  append(bits, m_point);
  Bytes content = der(kSequence, algorithm);
  append(content, der(V_ASN1_BIT_STRING, bits));
  return der(kSequence, content);
}

bool EcPublicKey::equals(const EVP_PKEY* other) const { return EVP_PKEY_eq(m_key.get(), other) == 1; }

}  // namespace tee_token
