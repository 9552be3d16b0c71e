// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/provisioned_token.h"

#include <botan/p11.h>
#include <botan/p11_ecc_key.h>
#include <botan/p11_trust_store_group.h>

#include <cstdlib>

#include "support/spytoken.h"
#include "tee/templates.h"

namespace test_support {

namespace {

namespace p11 = Botan::PKCS11;
namespace tee = ozk::tee;

const p11::secure_string kSecurityOfficerPin = {'s', 'o', '-', 'p', 'i', 'n'};
const p11::secure_string kUserPin = {'4', '0', '7', '1', '8', '2', '9', '3', '\0'};

const auto kVendorTrustStoreGroup = static_cast<p11::AttributeType>(0x80001005UL);
const auto kTrustStoreGroup = static_cast<p11::ObjectClass>(0x80001001UL);

p11::ObjectHandle import(p11::Session& session, const Marks& marks, p11::StorageObjectProperties& object) {
  object.set_token(true);
  object.add_binary(p11::AttributeType::Label, marks.label);
  if (!marks.client.empty()) {
    object.add_string(tee::CKA_VENDOR_CLIENT_ID, marks.client);
    object.add_string(tee::CKA_VENDOR_KEY_ID, marks.key_id);
    object.add_bool(tee::CKA_VENDOR_PERMANENT, false);
  }
  if (!marks.destroyable) object.set_destroyable(false);
  return p11::Object(session, object).handle();
}

}  // namespace

ProvisionedToken::ProvisionedToken() {
  ::setenv("TEE_TOKEN_DIR", m_folder.path().c_str(), 1);
  ::setenv("TEE_PKCS11_MODULE", SPYTOKEN, 1);
  ::setenv("SPYTOKEN_MODULE", TEETOKEN_MODULE, 1);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  spytoken().reset();
  p11::Module module(TEETOKEN_MODULE);
  p11::Slot slot(module, p11::Slot::get_available_slots(module, true).at(0));
  p11::initialize_token(slot, "test token", kSecurityOfficerPin, kUserPin);
}

ProvisionedToken::~ProvisionedToken() {
  ::unsetenv("TEE_TOKEN_DIR");
  ::unsetenv("TEE_PKCS11_MODULE");
}

void ProvisionedToken::remove() { ::setenv("TEE_TOKEN_DIR", (m_folder.path() / "nowhere").c_str(), 1); }

UserSession::UserSession(p11::UserType user)
    : m_module(TEETOKEN_MODULE),
      m_slot(m_module, p11::Slot::get_available_slots(m_module, true).at(0)),
      m_session(m_slot, false) {
  m_session.login(user, user == p11::UserType::SO ? kSecurityOfficerPin : kUserPin);
}

std::vector<std::uint8_t> label(std::uint8_t group, std::uint32_t index) {
  const auto byte = [index](int shift) { return static_cast<std::uint8_t>(index >> shift); };
  return {group, byte(0), byte(8), byte(16), byte(24)};
}

p11::ObjectHandle importPrivateKey(p11::Session& session, const Marks& marks,
                                   const Botan::ECDSA_PrivateKey& key) {
  p11::EC_PrivateKeyImportProperties object(key.domain().DER_encode(Botan::EC_DOMPAR_ENC_OID),
                                            key.private_value());
  object.set_private(true);
  object.set_sensitive(true);
  object.set_extractable(false);
  object.set_sign(true);
  return import(session, marks, object);
}

p11::ObjectHandle importChain(p11::Session& session, const Marks& marks,
                              const std::vector<std::uint8_t>& value) {
  p11::TrustStoreGroupCertificateChainProperties object(value);
  return import(session, marks, object);
}

p11::ObjectHandle importCertificate(p11::Session& session, const Marks& marks,
                                    p11::X509_CertificateProperties certificate) {
  certificate.set_private(false);
  return import(session, marks, certificate);
}

p11::ObjectHandle importData(p11::Session& session, const Marks& marks, const std::string& value) {
  p11::DataObjectProperties object;
  object.set_value(p11::secure_string(value.begin(), value.end()));
  return import(session, marks, object);
}

void addTrustStoreGroup(const std::string& group, const std::string& client,
                        const std::vector<Botan::X509_Certificate>& roots) {
  UserSession session(p11::UserType::SO);
  const auto store = [&](p11::StorageObjectProperties& object) {
    object.set_token(true);
    object.add_string(tee::CKA_VENDOR_CLIENT_ID, client);
    p11::Object(*session, object);
  };
  for (const auto& root : roots) {
    p11::X509_CertificateProperties object(root);
    object.set_trusted(true);
    object.add_string(kVendorTrustStoreGroup, group);
    store(object);
  }
  p11::StorageObjectProperties object(kTrustStoreGroup);
  object.set_label(group);
  store(object);
}

}  // namespace test_support
