// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/templates.h"

#include <botan/ec_group.h>

#include <utility>

#include "api/key_ids.h"
#include "tee/client_id.h"
#include "tee/object_label.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::AttributeContainer;
using Botan::PKCS11::AttributeType;
using Botan::PKCS11::EC_PrivateKeyGenerationProperties;
using Botan::PKCS11::EC_PublicKeyGenerationProperties;
using Botan::PKCS11::ObjectClass;
using Botan::PKCS11::TrustStoreGroupCertificateChainProperties;

constexpr std::uint32_t kChainId = 102;  // 32 bits wide on the token

void addLabel(AttributeContainer& container, const ObjectLabel& label) {
  container.add_binary(AttributeType::Label, label.data(), label.size());
}

void addClientThenKey(AttributeContainer& container) {
  container.add_string(kVendorClientId, kClientId);
  container.add_string(kVendorKeyId, kLYRKeyId);
}

void addKeyThenClient(AttributeContainer& container) {
  container.add_string(kVendorKeyId, kLYRKeyId);
  container.add_string(kVendorClientId, kClientId);
}

AttributeContainer keySearch(ObjectClass object_class, bool permanent) {
  AttributeContainer sought(object_class);
  addClientThenKey(sought);
  sought.add_bool(kVendorPermanent, permanent);
  return sought;
}

}  // namespace

AttributeContainer lyrPublicKeySearch(bool permanent) {
  AttributeContainer sought;
  addLabel(sought, kLYRPublicKeyLabel);
  sought.add_class(ObjectClass::PublicKey);
  addClientThenKey(sought);
  sought.add_bool(kVendorPermanent, permanent);
  return sought;
}

// No label, unlike the public key's: any private key of this client and key identifier will do.
AttributeContainer lyrPrivateKeySearch(bool permanent) {
  return keySearch(ObjectClass::PrivateKey, permanent);
}

AttributeContainer basePrivateKeySearch() {
  AttributeContainer sought(ObjectClass::PrivateKey);
  addLabel(sought, kBASEPrivateKeyLabel);
  return sought;
}

AttributeContainer lyrCertificateChainSearch(bool permanent) {
  AttributeContainer sought(ObjectClass::Certificate);
  addKeyThenClient(sought);
  sought.add_bool(kVendorPermanent, permanent);
  return sought;
}

AttributeContainer temporaryPrivateKeysSearch() { return keySearch(ObjectClass::PrivateKey, false); }

AttributeContainer temporaryPublicKeysSearch() { return keySearch(ObjectClass::PublicKey, false); }

EC_PublicKeyGenerationProperties lyrPublicKeyGeneration() {
  EC_PublicKeyGenerationProperties key(Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID));
  addKeyThenClient(key);
  key.add_bool(kVendorPermanent, false);
  key.set_token(true);
  key.set_verify(true);
  key.set_private(false);
  key.set_modifiable(false);
  addLabel(key, kLYRPublicKeyLabel);
  return key;
}

EC_PrivateKeyGenerationProperties lyrPrivateKeyGeneration() {
  EC_PrivateKeyGenerationProperties key;
  addKeyThenClient(key);
  key.add_bool(kVendorPermanent, false);
  key.set_token(true);
  key.set_private(true);
  key.set_sensitive(true);
  key.set_extractable(false);
  key.set_sign(true);
  key.set_modifiable(false);
  addLabel(key, kLYRPrivateKeyLabel);
  return key;
}

TrustStoreGroupCertificateChainProperties lyrCertificateChainCreation(std::vector<std::uint8_t> chain,
                                                                      const std::string& key_id) {
  TrustStoreGroupCertificateChainProperties properties(std::move(chain));
  properties.add_string(kVendorKeyId, key_id);
  properties.set_token(true);
  properties.set_label(kChainLabel);
  properties.add_numeric(AttributeType::Id, kChainId);
  properties.add_bool(kVendorPermanent, false);
  properties.add_string(kVendorClientId, kClientId);
  return properties;
}

AttributeContainer vinSearch() {
  AttributeContainer sought;
  addLabel(sought, kVINLabel);
  sought.add_class(ObjectClass::Data);
  return sought;
}

AttributeContainer certificateSearch(const std::string& label) {
  AttributeContainer sought(ObjectClass::Certificate);
  sought.add_binary(AttributeType::Label, labelFromText(label));
  return sought;
}

}  // namespace tee
}  // namespace ozk
