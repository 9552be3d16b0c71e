#include "api/product_test.h"

#include <botan/pkcs10.h>
#include <botan/pkix_types.h>
#include <botan/x509_key.h>

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

TEST_F(ProductTest, WithoutATemporaryKeyPairARequestIsEmpty) {
  EXPECT_THAT(product->generate_csr("name", "LYR_CSR"), IsEmpty());
  EXPECT_EQ(log.take().back(), debug("ClientCertInitializer::generate_csr PRIVATE key Handle = 0"));
  {
    test_support::UserSession session;
    // A private key is taken whatever its label.
    test_support::importPrivateKey(*session, {label(9, 9), "CCI_CLIENT", "LYR"}, test_support::newKey());
  }
  EXPECT_THAT(product->generate_csr("name", "LYR_CSR"), IsEmpty());
  EXPECT_EQ(log.take().back(), debug("ClientCertInitializer::generate_csr PUBLIC key Handle = 0"));
}

}  // namespace ozk::tee
