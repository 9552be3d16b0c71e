// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

#include <botan/data_src.h>
#include <botan/p11.h>
#include <botan/p11_ecc_key.h>
#include <botan/p11_trust_store_group.h>
#include <botan/pubkey.h>
#include <botan/x509_key.h>

#include <cstdlib>

#include "tee/templates.h"

namespace ozk::tee {

namespace {

namespace p11 = Botan::PKCS11;

const p11::secure_string kOfficerPin = {'s', 'o', '-', 'p', 'i', 'n'};
const p11::secure_string kUserPin = {'4', '0', '7', '1', '8', '2', '9', '3', '\0'};

struct LoggedInSession {
  explicit LoggedInSession(p11::UserType user = p11::UserType::User) {
    session.login(user, user == p11::UserType::SO ? kOfficerPin : kUserPin);
  }
  p11::Module module{TEETOKEN_MODULE};
  p11::Slot slot{module, p11::Slot::get_available_slots(module, true).at(0)};
  p11::Session session{slot, false};
};

void import(const Bytes& label, p11::StorageObjectProperties& object) {
  object.set_token(true);
  object.add_binary(p11::AttributeType::Label, label);
  LoggedInSession user;
  p11::Object(user.session, object);
}

}  // namespace

bool verifies(const std::string& public_key, const Bytes& data, const Bytes& signature) {
  Botan::DataSource_Memory source(public_key);
  const std::unique_ptr<Botan::Public_Key> key(Botan::X509::load_key(source));
  return Botan::PK_Verifier(*key, "EMSA1(SHA-256)", Botan::IEEE_1363).verify_message(data, signature);
}

std::string certifiedKey(const std::string& certificates) {
  if (certificates.empty()) return "";
  Botan::DataSource_Memory source(certificates);
  const std::unique_ptr<Botan::Public_Key> key(Botan::X509_Certificate(source).load_subject_public_key());
  return Botan::X509::PEM_encode(*key);
}

void importTemporaryChain() {
  p11::TrustStoreGroupCertificateChainProperties object({});
  object.add_string(CKA_VENDOR_CLIENT_ID, "CCI_CLIENT");
  object.add_string(CKA_VENDOR_KEY_ID, "LYR");
  object.add_bool(CKA_VENDOR_PERMANENT, false);
  import(label(10, 102), object);
}

void importCertificate(const Bytes& label, p11::X509_CertificateProperties certificate) {
  certificate.set_private(false);
  import(label, certificate);
}

void importData(const Bytes& label, const std::string& value) {
  p11::DataObjectProperties object;
  object.set_value(p11::secure_string(value.begin(), value.end()));
  import(label, object);
}

std::string importBaseKey() {
  const auto key = newKey();
  p11::EC_PrivateKeyImportProperties object(key.domain().DER_encode(Botan::EC_DOMPAR_ENC_OID),
                                            key.private_value());
  object.set_private(true);
  object.set_sensitive(true);
  object.set_extractable(false);
  object.set_sign(true);
  import(label(1, 10), object);
  return Botan::X509::PEM_encode(key);
}

void addTrustStoreGroup(const std::string& group, const std::string& client, const Chain& roots) {
  LoggedInSession officer(p11::UserType::SO);
  const auto store = [&](p11::StorageObjectProperties& object) {
    object.set_token(true);
    object.add_string(CKA_VENDOR_CLIENT_ID, client);
    p11::Object(officer.session, object);
  };
  for (const auto& root : roots) {
    p11::X509_CertificateProperties object(root);
    object.set_trusted(true);
    object.add_string(static_cast<p11::AttributeType>(TEE_CKA_VENDOR_TRUST_STORE_GROUP), group);
    store(object);
  }
  p11::StorageObjectProperties object(static_cast<p11::ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  object.set_label(group);
  store(object);
}

TokenContent TokenContent::now() {
  LoggedInSession user;
  const auto found = [&](const p11::AttributeContainer& sought) {
    const auto handles = p11::ObjectFinder(user.session, sought.attributes()).find(1000);
    return Handles(handles.begin(), handles.end());
  };
  TokenContent content = {{}, {}, found({})};
  for (const bool permanent : {true, false}) {
    auto& set = permanent ? content.installed : content.temporary;
    set = {found(lyrPublicKeySearch(permanent)), found(lyrPrivateKeySearch(permanent)),
           found(lyrCertificateChainSearch(permanent))};
    for (const Handles& kind : set) {
      for (const auto handle : kind) content.others.erase(handle);
    }
  }
  return content;
}

ProductTest::ProductTest() {
  ::setenv("TEE_TOKEN_DIR", token.path().c_str(), 1);
  ::setenv("TEE_PKCS11_MODULE", SPYTOKEN, 1);
  ::setenv("SPYTOKEN_MODULE", TEETOKEN_MODULE, 1);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  spytoken().reset();
  p11::Module module(TEETOKEN_MODULE);
  p11::Slot slot(module, p11::Slot::get_available_slots(module, true).at(0));
  p11::initialize_token(slot, "test token", kOfficerPin, kUserPin);
  log.take();
}

Chain ProductTest::requestChain(const std::string& common_name) {
  EXPECT_EQ(generate(), ResultCode::OK);
  return {authority.issue(product->generate_csr(common_name, "LYR_CSR")), authority.root()};
}

Chain ProductTest::provision(const std::string& common_name) {
  const auto chain = requestChain(common_name);
  EXPECT_EQ(install(pem(chain)), ResultCode::OK);
  log.take();
  spytoken().take_calls();
  return chain;
}

bool ProductTest::signsWithInstalledKey() {
  return verifies(product->get_public_key("LYR"), {1}, product->generate_signature("LYR", {1}, ""));
}

}  // namespace ozk::tee
