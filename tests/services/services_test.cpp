// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/pkix_types.h>
#include <botan/x509_key.h>

#include <map>

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

// About one signature in 128 has an r or an s that begins with a zero byte: one that is shorter is wrong.
TEST_F(ProductTest, SignaturesOfAnyDataVerifyAndHaveOneWidth) {
  provision("installed");
  const std::string installed = product->get_public_key("LYR"), base = importBaseKey();
  importBaseKey();  // of two, the first is used
  for (std::size_t length = 0; length < 150; ++length) {
    const Bytes data(length * length, 7);
    ASSERT_TRUE(verifies(installed, data, product->generate_signature("LYR", data, "")));
    ASSERT_TRUE(verifies(base, data, product->generate_signature("BASE", data, "has no effect")));
  }
}

Botan::X509_Certificate root(const std::string& name) { return CertificateAuthority(name).root(); }

TEST_F(ProductTest, DeviceCertificatesComeInTheOrderOfTheirLabels) {
  const Bytes unreadable = {0x30, 0x03, 1, 2, 3};
  importCertificate(label(1, 11), {unreadable, unreadable});  // it is left out
  std::map<unsigned, Botan::X509_Certificate> certificates;
  for (const unsigned index : {12u, 13u, 14u, 15u, 12u}) {  // of two, the first is returned
    const auto& [each, is_first] = certificates.emplace(index, root(std::to_string(index)));
    importCertificate(label(1, index), is_first ? each->second : root("second"));
  }
  EXPECT_EQ(product->get_client_cert("ZEMP"), pem({certificates.at(13), certificates.at(12)}));
  EXPECT_EQ(product->get_client_cert("BASE"), pem({certificates.at(15), certificates.at(14)}));
}

TEST_F(ProductTest, TheVinIsReturnedByteForByte) {
  const std::string vin("WVWZZZ1JZXW000001\0", 18);
  importData(label(2, 2), "of another label");
  EXPECT_EQ(product->get_zemp_vin(), "");
  importData(label(2, 1), vin);
  importData(label(2, 1), "a second one");
  EXPECT_EQ(product->get_zemp_vin(), vin);
}

TEST_F(ProductTest, AllRootsOfATrustStoreGroupComeInTheOrderInWhichTheyWereStored) {
  Chain roots(98, authority.root());
  for (const char* name : {"b", "c", "a"}) roots.push_back(root(name));
  addTrustStoreGroup("large", "CCI_CLIENT", roots);
  addTrustStoreGroup("other", "CCI_CLIENT", {root("other")});
  addTrustStoreGroup("empty", "CCI_CLIENT", {});
  addTrustStoreGroup("another's", "OTHER_CLIENT", {root("other")});
  provision("an identity is no root");
  EXPECT_EQ(product->get_root_cert_bundle("large"), pem(roots));
  EXPECT_EQ(product->get_root_cert_bundle("empty"), "");
  for (const char* group : {"another's", "Large", ""}) {
    EXPECT_THROW(product->get_root_cert_bundle(group), Botan::Exception) << group;
  }
}

}  // namespace ozk::tee
