// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

#include <botan/data_src.h>
#include <botan/pubkey.h>
#include <botan/x509_key.h>

namespace ozk::tee {

bool verifies(const std::string& public_key, const Bytes& data, const Bytes& signature) {
  Botan::DataSource_Memory source(public_key);
  const std::unique_ptr<Botan::Public_Key> key(Botan::X509::load_key(source));
  Botan::PK_Verifier verifier(*key, "EMSA1(SHA-256)", Botan::IEEE_1363);
  return verifier.verify_message(data, signature);
}

std::string certifiedKey(const std::string& certificates) {
  if (certificates.empty()) return "";
  Botan::DataSource_Memory source(certificates);
  const std::unique_ptr<Botan::Public_Key> key(Botan::X509_Certificate(source).load_subject_public_key());
  return Botan::X509::PEM_encode(*key);
}

TokenContent TokenContent::now() {
  test_support::UserSession session;
  const auto found = [&](const Botan::PKCS11::AttributeContainer& sought) {
    const auto handles = Botan::PKCS11::ObjectFinder(*session, sought.attributes()).find(1000);
    return Handles(handles.begin(), handles.end());
  };
  const auto set = [&](bool permanent) {
    return std::array<Handles, 3>{found(lyrPublicKeySearch(permanent)), found(lyrPrivateKeySearch(permanent)),
                                  found(lyrCertificateChainSearch(permanent))};
  };
  TokenContent content = {set(true), set(false), found({})};
  for (const auto* objects : {&content.installed, &content.temporary}) {
    for (const Handles& kind : *objects) {
      for (const auto handle : kind) content.others.erase(handle);
    }
  }
  return content;
}

Chain ProductTest::requestChain(const std::string& common_name) {
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  return {authority.issue(product->generate_csr(common_name, "LYR_CSR")), authority.root()};
}

ResultCode ProductTest::install(const Chain& chain) {
  return product->set_client_cert_and_move_key(pem(chain), "LYR_CSR", "LYR");
}

Chain ProductTest::provision(const std::string& common_name) {
  const auto chain = requestChain(common_name);
  EXPECT_EQ(install(chain), ResultCode::OK);
  log.take();
  spytoken().take_calls();
  return chain;
}

std::string ProductTest::publicKeyIfAny(const std::string& key_id) {
  try {
    return product->get_public_key(key_id);
  } catch (const Botan::PKCS11::PKCS11_ReturnError&) {
    return "";
  }
}

std::string ProductTest::importBaseKey() {
  const auto key = test_support::newKey();
  test_support::UserSession session;
  test_support::importPrivateKey(*session, {label(1, 10)}, key);
  return Botan::X509::PEM_encode(key);
}

bool ProductTest::signsWithInstalledKey() {
  const Bytes data = {1, 2, 3};
  return verifies(product->get_public_key("LYR"), data, product->generate_signature("LYR", data, ""));
}

std::size_t ProductTest::temporaries() {
  std::size_t count = 0;
  for (const auto& kind : TokenContent::now().temporary) count += kind.size();
  return count;
}

}  // namespace ozk::tee
