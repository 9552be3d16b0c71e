// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "identity_templates.h"

#include <botan/ec_group.h>

#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

constexpr std::uint32_t kChainId = 102;  // the library writes 32 bits

void add_key_then_client(AttributeContainer& container, const IdentityMarks& marks) {
  if (!marks.client.empty()) {
    container.add_string(kKeyId, marks.key_id);
    container.add_string(kClientId, marks.client);
  }
}

void add_client_then_key(AttributeContainer& container, const IdentityMarks& marks) {
  container.add_string(kClientId, marks.client);
  container.add_string(kKeyId, marks.key_id);
}

void add_temporary(AttributeContainer& container, const IdentityMarks& marks) {
  if (!marks.client.empty()) {
    container.add_bool(kPermanent, false);
  }
}

void add_label(AttributeContainer& container, const std::string& label) {
  container.add_binary(AttributeType::Label, encode_label(label));
}

}  // namespace

EC_PublicKeyGenerationProperties public_key_generation(const IdentityMarks& marks) {
  EC_PublicKeyGenerationProperties key(Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID));
  add_key_then_client(key, marks);
  add_temporary(key, marks);
  key.set_token(true);
  key.set_verify(true);
  key.set_private(false);
  key.set_modifiable(false);
  add_label(key, marks.public_key);
  return key;
}

EC_PrivateKeyGenerationProperties private_key_generation(const IdentityMarks& marks) {
  EC_PrivateKeyGenerationProperties key;
  add_key_then_client(key, marks);
  add_temporary(key, marks);
  key.set_token(true);
  key.set_private(true);
  key.set_sensitive(true);
  key.set_extractable(false);
  key.set_sign(true);
  key.set_modifiable(false);
  add_label(key, marks.private_key);
  return key;
}

TrustStoreGroupCertificateChainProperties chain_creation(const IdentityMarks& marks,
                                                         std::vector<std::uint8_t> chain) {
  TrustStoreGroupCertificateChainProperties object(std::move(chain));
  object.add_string(kKeyId, marks.key_id);
  object.set_token(true);
  object.set_label(marks.chain);
  object.add_numeric(AttributeType::Id, kChainId);
  object.add_bool(kPermanent, false);
  object.add_string(kClientId, marks.client);
  return object;
}

AttributeContainer public_key_search(const IdentityMarks& marks, bool permanent) {
  AttributeContainer sought;
  add_label(sought, marks.public_key);
  sought.add_class(ObjectClass::PublicKey);
  add_client_then_key(sought, marks);
  sought.add_bool(kPermanent, permanent);
  return sought;
}

AttributeContainer private_key_search(const IdentityMarks& marks, bool permanent) {
  AttributeContainer sought(ObjectClass::PrivateKey);
  add_client_then_key(sought, marks);
  sought.add_bool(kPermanent, permanent);
  return sought;
}

AttributeContainer chain_search(const IdentityMarks& marks, bool permanent) {
  AttributeContainer sought(ObjectClass::Certificate);
  add_key_then_client(sought, marks);
  sought.add_bool(kPermanent, permanent);
  return sought;
}

}  // namespace tee_token_admin
