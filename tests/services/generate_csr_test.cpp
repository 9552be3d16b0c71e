// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/pkix_types.h>
#include <botan/x509_key.h>

#include "api/journal.h"

namespace ozk::tee {

TEST_F(ProductTest, ARequestIsForTheTemporaryKeyAndVerifies) {
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  for (const auto& [name, subject] :
       {std::pair("Größe 1", R"(CN="Größe 1",C="DE",O="QAVR")"), std::pair("", R"(C="DE",O="QAVR")")}) {
    const Botan::PKCS10_Request request(product->generate_csr(name, "LYR_CSR"));
    const std::unique_ptr<Botan::Public_Key> key(request.subject_public_key());
    EXPECT_EQ(Botan::X509::PEM_encode(*key), product->get_public_key("LYR_CSR"));
    EXPECT_TRUE(request.check_signature(*key));
    EXPECT_EQ(request.signature_algorithm().get_oid().to_formatted_string(), "ECDSA/EMSA1(SHA-256)");
    EXPECT_EQ(request.subject_dn().to_string(), subject);
    EXPECT_EQ(request.raw_public_key().size(), 91u) << "named curve, uncompressed point";
  }
}

TEST_F(JournalTest, GenerateCsr) {
  const auto request = [&](const std::string& key_id, bool given) {
    return [&, key_id, given] { EXPECT_EQ(!product->generate_csr("name", key_id).empty(), given); };
  };
  const auto handleLogged = [](const std::string& kind, Handle handle) {
    return Journal{
        debugged("ClientCertInitializer::generate_csr " + kind + " key Handle = " + number(handle))};
  };
  for (const char* refused : {"LYR", "lyr_csr", "LYR_CSR ", ""}) expectInSession(request(refused, false), {});
  expectInSession(request("LYR_CSR", false), lookedUpPrivateKey(false, {}) + handleLogged("PRIVATE", 0));
  {
    test_support::UserSession session;  // a private key is taken whatever its label
    test_support::importPrivateKey(*session, {label(9, 9), "CCI_CLIENT", "LYR"}, test_support::newKey());
  }
  expectInSession(request("LYR_CSR", false), lookedUpPrivateKey(false, {1}) + handleLogged("PRIVATE", 1) +
                                                 lookedUpPublicKey(false, {}) + handleLogged("PUBLIC", 0));

  product->generate_private_key("LYR_CSR");
  const auto size = Botan::PKCS10_Request(product->generate_csr("name", "LYR_CSR")).tbs_data().size();
  const std::string sign = "C_Sign 1 " + number(size) + " -> 64";
  expectInSession(request("LYR_CSR", true), lookedUpPrivateKey(false, {3}) + handleLogged("PRIVATE", 3) +
                                                lookedUpPublicKey(false, {2}) + handleLogged("PUBLIC", 2) +
                                                openedPrivateKey(3) + openedPublicKey(2) +
                                                Journal{"C_SignInit 1 1044 3", sign, sign});
}

TEST_F(ProductTest, ANameOfAnyLengthIsPassedOnUnchanged) {
  product->generate_private_key("LYR_CSR");
  const std::string name(100, 'n');
  const Botan::PKCS10_Request request(product->generate_csr(name, "LYR_CSR"));
  EXPECT_EQ(request.subject_dn().get_first_attribute("CN"), name);
}

}  // namespace ozk::tee
