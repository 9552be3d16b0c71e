// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/pkix_types.h>
#include <botan/x509_key.h>

#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, ARequestIsForTheTemporaryKeyAndVerifies) {
  provision("installed");
  ASSERT_EQ(generate(), ResultCode::OK);
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

// About one signature in 128 has an r or an s that begins with a zero byte.
TEST_F(ProductTest, SignaturesOfAnyDataVerifyAndHaveOneWidth) {
  provision("installed");
  const std::string installed = product->get_public_key("LYR"), base = importBaseKey();
  importBaseKey();  // of two, the first is used
  for (std::size_t length = 0; length < 150; ++length) {
    const Bytes data(length * length, 7);
    const Bytes by_installed = product->generate_signature("LYR", data, "");
    const Bytes by_base = product->generate_signature("BASE", data, "has no effect");
    ASSERT_EQ(by_installed.size(), 64u);
    ASSERT_EQ(by_base.size(), 64u);
    ASSERT_TRUE(verifies(installed, data, by_installed));
    ASSERT_TRUE(verifies(base, data, by_base));
  }
}

}  // namespace ozk::tee
