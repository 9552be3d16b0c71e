// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "ec_token_key.h"

#include <botan/ber_dec.h>

namespace Botan {
namespace PKCS11 {

PointGFp decode_ec_point(const EC_Group& group, const std::vector<uint8_t>& ec_point) {
  std::vector<uint8_t> encoded;
  BER_Decoder(ec_point).decode(encoded, OCTET_STRING).verify_end();
  const PointGFp point = group.OS2ECP(encoded);
  if (point.is_zero()) {
    throw Decoding_Error("EC public point is at infinity");
  }
  return point;
}

EC_KeyPairHandles generate_ec_key_pair(Session& session, const PublicKeyProperties& public_props,
                                       const PrivateKeyProperties& private_props) {
  Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(MechanismType::EcKeyPairGen), nullptr, 0};
  EC_KeyPairHandles handles = {0, 0};
  session.module()->C_GenerateKeyPair(session.handle(), &mechanism, public_props.data(), public_props.count(),
                                      private_props.data(), private_props.count(), &handles.public_key,
                                      &handles.private_key);
  return handles;
}

}  // namespace PKCS11
}  // namespace Botan
