// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/mechanism.h"

#include <iterator>

#include "base/error.h"

namespace tee_token {
namespace {

constexpr CK_FLAGS kSigns = CKF_SIGN | CKF_VERIFY;

constexpr Mechanism kMechanisms[] = {
    {CKM_EC_KEY_PAIR_GEN, CKF_GENERATE_KEY_PAIR, nullptr},
    {CKM_ECDSA, kSigns, nullptr},
    {CKM_ECDSA_SHA256, kSigns, EVP_sha256},
    {CKM_ECDSA_SHA384, kSigns, EVP_sha384},
    {CKM_ECDSA_SHA512, kSigns, EVP_sha512},
    {CKM_SHA256, CKF_DIGEST, EVP_sha256},
    {CKM_SHA384, CKF_DIGEST, EVP_sha384},
    {CKM_SHA512, CKF_DIGEST, EVP_sha512},
};

}  // namespace

const Mechanism* Mechanisms::begin() const { return std::begin(kMechanisms); }
const Mechanism* Mechanisms::end() const { return std::end(kMechanisms); }

const Mechanism& mechanism_of(CK_MECHANISM_TYPE type, CK_FLAGS flags) {
  for (const Mechanism& mechanism : kMechanisms) {
    if (mechanism.type == type && (mechanism.flags & flags) == flags) {
      return mechanism;
    }
  }
  throw Error(CKR_MECHANISM_INVALID, "the token cannot do this with mechanism " + std::to_string(type));
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

}  // namespace tee_token
