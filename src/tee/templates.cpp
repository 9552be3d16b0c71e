// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/templates.h"

#include <botan/ec_group.h>

#include <array>

#include "api/key_ids.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::AttributeContainer;
using Botan::PKCS11::AttributeType;
using Botan::PKCS11::EC_PrivateKeyGenerationProperties;
using Botan::PKCS11::EC_PublicKeyGenerationProperties;
using Botan::PKCS11::ObjectClass;
using Botan::PKCS11::TrustStoreGroupCertificateChainProperties;

using ObjectLabel = std::array<std::uint8_t, 5>;

constexpr ObjectLabel kLYRPublicKeyLabel{{0x0A, 0x64, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kLYRPrivateKeyLabel{{0x0A, 0x65, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kBASEPrivateKeyLabel{{0x01, 0x0A, 0x00, 0x00, 0x00}};
constexpr ObjectLabel kVINLabel{{0x02, 0x01, 0x00, 0x00, 0x00}};
constexpr std::uint32_t kChainId = 102;  // 32 bits wide on the token

void addLabel(AttributeContainer& container, const ObjectLabel& label) {
  container.add_binary(AttributeType::Label, label.data(), label.size());
}

void addClientThenKey(AttributeContainer& container) {
  container.add_string(CKA_VENDOR_CLIENT_ID, kClientId);
  container.add_string(CKA_VENDOR_KEY_ID, kLYRKeyId);
}

void addKeyThenClient(AttributeContainer& container) {
  container.add_string(CKA_VENDOR_KEY_ID, kLYRKeyId);
  container.add_string(CKA_VENDOR_CLIENT_ID, kClientId);
}

AttributeContainer keySearch(ObjectClass object_class, bool permanent) {
  AttributeContainer sought(object_class);
  addClientThenKey(sought);
  sought.add_bool(CKA_VENDOR_PERMANENT, permanent);
  return sought;
}

}  // namespace

Botan::secure_vector<std::uint8_t> labelFromText(const std::string& text) {
  const std::size_t separator = text.find('_');
  if (separator == std::string::npos) {
    return {};
  }
  const auto group = static_cast<std::uint32_t>(std::stoi(text.substr(0, separator)));
  const auto index = static_cast<std::uint32_t>(std::stoi(text.substr(separator + 1)));
  return {static_cast<std::uint8_t>(group), static_cast<std::uint8_t>(index),
          static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index >> 16),
          static_cast<std::uint8_t>(index >> 24)};
}

AttributeContainer lyrPublicKeySearch(bool permanent) {
  AttributeContainer sought;
  addLabel(sought, kLYRPublicKeyLabel);
  sought.add_class(ObjectClass::PublicKey);
  addClientThenKey(sought);
  sought.add_bool(CKA_VENDOR_PERMANENT, permanent);
  return sought;
}

// No label, unlike the public key's: any private key of this client and key identifier matches.
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
  sought.add_bool(CKA_VENDOR_PERMANENT, permanent);
  return sought;
}

AttributeContainer temporaryPublicKeysSearch() { return keySearch(ObjectClass::PublicKey, false); }

EC_PublicKeyGenerationProperties lyrPublicKeyGeneration() {
  EC_PublicKeyGenerationProperties key(Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID));
  addKeyThenClient(key);
  key.add_bool(CKA_VENDOR_PERMANENT, false);
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
  key.add_bool(CKA_VENDOR_PERMANENT, false);
  key.set_token(true);
  key.set_private(true);
  key.set_sensitive(true);
  key.set_extractable(false);
  key.set_sign(true);
  key.set_modifiable(false);
  addLabel(key, kLYRPrivateKeyLabel);
  return key;
}

void addLYRCertificateChainAttributes(TrustStoreGroupCertificateChainProperties& chain,
                                      const std::string& key_id) {
  chain.add_string(CKA_VENDOR_KEY_ID, key_id);
  chain.set_token(true);
  chain.set_label(kChainLabel);
  chain.add_numeric(AttributeType::Id, kChainId);
  chain.add_bool(CKA_VENDOR_PERMANENT, false);
  chain.add_string(CKA_VENDOR_CLIENT_ID, kClientId);
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
