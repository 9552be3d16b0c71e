// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/trust_group.h"

#include "shared/object_attributes.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

bool is_trust_group(const Object& object) {
  return number_of(object, CKA_CLASS) == TEE_CKO_TRUST_STORE_GROUP;
}

bool is_officers(const Object& object) { return is_trust_group(object) || is_true(object, CKA_TRUSTED); }

TrustGroup trust_group_of(const Object& object) {
  return {text_of(object, CKA_LABEL), text_of(object, TEE_CKA_VENDOR_CLIENT_ID)};
}

std::vector<ObjectHandle> roots_of(TokenSession& token, const TrustGroup& group) {
  CertificateProperties wanted(CertificateType::X509);
  wanted.set_trusted(true);
  wanted.add_string(kClientId, group.client);
  wanted.add_string(kTrustStoreGroup, group.identifier);
  return token.find(wanted);
}

std::size_t destroy_roots_of(TokenSession& token, const TrustGroup& group) {
  const std::vector<ObjectHandle> roots = roots_of(token, group);
  for (const ObjectHandle root : roots) {
    Object(token.session(), root).destroy();
  }
  return roots.size();
}

}  // namespace tee_token_admin
