// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecc_key.h>

#include <utility>
#include <vector>

namespace Botan {
namespace PKCS11 {

/// The point in an EcPoint value: one DER OCTET STRING, filled by an encoded point that is on the curve and
/// not at infinity. Anything else throws Invalid_Argument (Decoding_Error mostly). A bare point begins like
/// an OCTET STRING, so tag, length and end decide.
PointGFp decode_ec_point(const EC_Group& group, const std::vector<uint8_t>& ec_point);

struct EC_KeyPairHandles {
  ObjectHandle public_key;
  ObjectHandle private_key;
};

/// Generates a key pair from the two templates as they are.
EC_KeyPairHandles generate_ec_key_pair(Session& session, const PublicKeyProperties& public_props,
                                       const PrivateKeyProperties& private_props);

}  // namespace PKCS11
}  // namespace Botan
