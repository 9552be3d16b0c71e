// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>

namespace Botan {
namespace PKCS11 {

EC_PublicKeyGenerationProperties::EC_PublicKeyGenerationProperties(const std::vector<uint8_t>& ec_params)
    : PublicKeyProperties(KeyType::Ec), m_ec_params(ec_params) {
  add_binary(AttributeType::EcParams, m_ec_params);
}

EC_PublicKeyImportProperties::EC_PublicKeyImportProperties(const std::vector<uint8_t>& ec_params,
                                                           const std::vector<uint8_t>& ec_point)
    : PublicKeyProperties(KeyType::Ec), m_ec_params(ec_params), m_ec_point(ec_point) {
  add_binary(AttributeType::EcParams, m_ec_params);
  add_binary(AttributeType::EcPoint, m_ec_point);
}

EC_PrivateKeyImportProperties::EC_PrivateKeyImportProperties(const std::vector<uint8_t>& ec_params,
                                                             const BigInt& value)
    : PrivateKeyProperties(KeyType::Ec), m_ec_params(ec_params), m_value(value) {
  add_binary(AttributeType::EcParams, m_ec_params);
  add_binary(AttributeType::Value, BigInt::encode_locked(m_value));
}

}  // namespace PKCS11
}  // namespace Botan
