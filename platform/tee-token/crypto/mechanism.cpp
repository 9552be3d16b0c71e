// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/mechanism.h"

#include <algorithm>
#include <iterator>

#include "base/error.h"

namespace tee_token {
namespace {

constexpr CK_FLAGS kSigns = CKF_SIGN | CKF_VERIFY;

constexpr Mechanism kMechanisms[] = {
    {CKM_EC_KEY_PAIR_GEN, CKF_GENERATE_KEY_PAIR, nullptr}, {CKM_ECDSA, kSigns, nullptr},
    {CKM_ECDSA_SHA256, kSigns, &Libcrypto::sha256},        {CKM_ECDSA_SHA384, kSigns, &Libcrypto::sha384},
    {CKM_ECDSA_SHA512, kSigns, &Libcrypto::sha512},        {CKM_SHA256, CKF_DIGEST, &Libcrypto::sha256},
    {CKM_SHA384, CKF_DIGEST, &Libcrypto::sha384},          {CKM_SHA512, CKF_DIGEST, &Libcrypto::sha512},
};

constexpr std::size_t kLongestOrder = 66;  // bytes, of secp521r1

}  // namespace

const Mechanism* Mechanisms::begin() const { return std::begin(kMechanisms); }
const Mechanism* Mechanisms::end() const { return std::end(kMechanisms); }

const Mechanism& mechanism_of(CK_MECHANISM_TYPE type, CK_FLAGS flags) {
  for (const Mechanism& mechanism : kMechanisms) {
    if (mechanism.type == type && (mechanism.flags & flags) == flags) {
      return mechanism;
    }
  }
  throw Error(CKR_MECHANISM_INVALID,
              "the token does not support mechanism " + std::to_string(type) + " for this operation");
}

const Mechanism& mechanism_of(const CK_MECHANISM* given, CK_FLAGS flags) {
  if (given == nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "the mechanism is a null pointer");
  }
  const Mechanism& mechanism = mechanism_of(given->mechanism, flags);
  if (given->ulParameterLen != 0) {
    throw Error(CKR_MECHANISM_PARAM_INVALID, "the mechanism takes no parameter");
  }
  return mechanism;
}

CK_MECHANISM_INFO info_of(const Mechanism& mechanism) {
  if (mechanism.flags == CKF_DIGEST) {
    return {0, 0, mechanism.flags};
  }
  return {256, 521, mechanism.flags | CKF_EC_F_P | CKF_EC_NAMEDCURVE | CKF_EC_UNCOMPRESS};
}

Bytes Message::digest_of(ByteView data) const {
  if (m_parts != nullptr) {
    throw Error(CKR_OPERATION_ACTIVE, "the message was begun in parts; end it with the Final call");
  }
  if (m_hash == nullptr) {
    if (data.size == 0) {
      throw Error(CKR_DATA_LEN_RANGE, "CKM_ECDSA needs a digest, not an empty message");
    }
    return ByteView(data.data, std::min(data.size, kLongestOrder)).copy();  // ECDSA ignores the rest
  }
  Bytes digest(digest_length());
  require_openssl(EVP_Digest(data.data, data.size, digest.data(), nullptr, m_hash, nullptr) == 1, "hashing");
  return digest;
}

void Message::add(ByteView part) {
  if (m_hash == nullptr) {
    throw Error(CKR_FUNCTION_NOT_SUPPORTED, "CKM_ECDSA takes its digest in one part");
  }
  if (m_parts == nullptr) {
    m_parts.reset(require_handle(EVP_MD_CTX_new(), "hashing"));
    require_openssl(EVP_DigestInit_ex(m_parts.get(), m_hash, nullptr) == 1, "hashing");
  }
  require_openssl(EVP_DigestUpdate(m_parts.get(), part.data, part.size) == 1, "hashing");
}

Bytes Message::digest() {
  if (m_parts == nullptr) {
    add(ByteView(nullptr, 0));
  }
  Bytes digest(digest_length());
  require_openssl(EVP_DigestFinal_ex(m_parts.get(), digest.data(), nullptr) == 1, "hashing");
  return digest;
}

}  // namespace tee_token
