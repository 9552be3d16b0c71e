// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/pkix_types.h>
#include <botan/x509_key.h>

#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, ARequestIsForTheTemporaryKeyAndVerifies) {
  provision("installed");
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  const std::string long_name(100, 'n');
  const std::pair<std::string, std::string> cases[] = {
      {"Größe 1", R"(CN="Größe 1",C="DE",O="QAVR")"},
      {"", R"(C="DE",O="QAVR")"},
      {long_name, "CN=\"" + long_name + R"(",C="DE",O="QAVR")"}};
  for (const auto& [name, subject] : cases) {
    const Botan::PKCS10_Request request(product->generate_csr(name, "LYR_CSR"));
    const std::unique_ptr<Botan::Public_Key> key(request.subject_public_key());
    EXPECT_EQ(Botan::X509::PEM_encode(*key), product->get_public_key("LYR_CSR"));
    EXPECT_TRUE(request.check_signature(*key));
    EXPECT_EQ(request.signature_algorithm().get_oid().to_formatted_string(), "ECDSA/EMSA1(SHA-256)");
    EXPECT_EQ(request.subject_dn().to_string(), subject);
    EXPECT_EQ(request.raw_public_key().size(), 91u) << "named curve, uncompressed point";
  }
}

TEST_F(ProductTest, WithoutATemporaryKeyPairThereIsNoRequest) {
  provision("installed");
  EXPECT_TRUE(product->generate_csr("name", "LYR_CSR").empty());
  product->generate_private_key("LYR_CSR");
  for (const char* refused : {"LYR", "lyr_csr", "LYR_CSR ", ""}) {
    EXPECT_TRUE(product->generate_csr("name", refused).empty()) << refused;
  }
}

}  // namespace ozk::tee
