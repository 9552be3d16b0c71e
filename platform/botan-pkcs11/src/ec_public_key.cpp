// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>

#include "ec_token_key.h"

namespace Botan {
namespace PKCS11 {

PKCS11_EC_PublicKey::PKCS11_EC_PublicKey(Session& session, ObjectHandle handle) : Object(session, handle) {
  m_domain_params = EC_Group(get_attribute_value(AttributeType::EcParams));
  m_public_key = decode_ec_point(m_domain_params, unlock(get_attribute_value(AttributeType::EcPoint)));
}

PKCS11_EC_PublicKey::PKCS11_EC_PublicKey(Session& session, const EC_PublicKeyImportProperties& props)
    : Object(session, props) {
  m_domain_params = EC_Group(props.ec_params());
  m_public_key = decode_ec_point(m_domain_params, props.ec_point());
}

}  // namespace PKCS11
}  // namespace Botan
