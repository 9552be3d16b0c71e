// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>

#include "api/product_test.h"

namespace ozk::tee {

using Botan::PKCS11::ReturnValue;
using test_support::addTrustStoreGroup;

class StoredObjectsTest : public ProductTest {
 protected:
  static Botan::X509_Certificate root(const std::string& name) {
    return test_support::CertificateAuthority(name).root();
  }
  /// Stores a certificate under group 1 and this index.
  Botan::X509_Certificate import(std::uint32_t index) {
    const auto certificate = root("1_" + std::to_string(index));
    test_support::importCertificate(*test_support::UserSession(), {label(1, index)}, certificate);
    return certificate;
  }
  void importGarbage(std::uint32_t index) {
    const Bytes garbage = {0x30, 0x03, 1, 2, 3};
    test_support::importCertificate(*test_support::UserSession(), {label(1, index)}, {garbage, garbage});
  }
};

TEST_F(StoredObjectsTest, TheInstalledChainComesInItsOrder) {
  EXPECT_EQ(product->get_client_cert("LYR"), "");
  const auto chain = provision("installed");
  requestChain("temporary");
  EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
  for (const char* refused : {"LYR_CSR", "lyr", "BASE ", ""}) {
    EXPECT_EQ(product->get_client_cert(refused), "") << refused;
  }
}

TEST_F(StoredObjectsTest, DeviceCertificatesComeInTheOrderOfTheirLabels) {
  importGarbage(11);
  const auto c12 = import(12), c13 = import(13), c14 = import(14), c15 = import(15);
  import(12);  // of two, the first is returned
  EXPECT_EQ(product->get_client_cert("ZEMP"), pem({c13, c12}));
  EXPECT_EQ(product->get_client_cert("BASE"), pem({c15, c14}));
}

TEST_F(StoredObjectsTest, EachLabelHasItsStatus) {
  importGarbage(1);
  import(2);
  test_support::UserSession session;
  std::vector<ReturnValue> statuses = {ReturnValue::HostMemory};
  EXPECT_EQ(access.certificatesLabelled(*session, {"1_1", "1_2", "1_3", "none"}, statuses).size(), 1u);
  EXPECT_THAT(statuses, ElementsAre(ReturnValue::HostMemory, ReturnValue::DataInvalid, ReturnValue::OK,
                                    ReturnValue::FunctionFailed, ReturnValue::FunctionFailed));
  EXPECT_THROW(access.certificatesLabelled(*session, {"1_x"}, statuses), std::invalid_argument);
}

TEST_F(StoredObjectsTest, PublicKeysNameTheirCurveAndCarryAnUncompressedPoint) {
  EXPECT_THROW(product->get_public_key("LYR"), Botan::PKCS11::PKCS11_ReturnError);
  provision("installed");
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_NE(product->get_public_key("LYR"), product->get_public_key("LYR_CSR"));
  for (const std::string key_id : {"LYR", "LYR_CSR"}) {
    const auto der = Botan::PEM_Code::decode_check_label(product->get_public_key(key_id), "PUBLIC KEY");
    EXPECT_EQ(der.size(), 91u) << "with explicit parameters it is 311 bytes";
    EXPECT_EQ(der.at(26), 0x04);
  }
  for (const char* refused : {"BASE", "ZEMP", "lyr", "LYR ", ""}) {
    EXPECT_EQ(product->get_public_key(refused), "") << refused;
  }
}

TEST_F(StoredObjectsTest, TheVinIsReturnedByteForByte) {
  const std::string vin("WVWZZZ1JZXW000001\0", 18);
  test_support::importData(*test_support::UserSession(), {label(2, 2)}, "of another label");
  EXPECT_EQ(product->get_zemp_vin(), "");
  test_support::importData(*test_support::UserSession(), {label(2, 1)}, vin);
  test_support::importData(*test_support::UserSession(), {label(2, 1)}, "a second one");
  EXPECT_EQ(product->get_zemp_vin(), vin);
}

TEST_F(StoredObjectsTest, RootsComeInTheOrderInWhichTheyWereStored) {
  const Chain roots = {root("b"), root("c"), root("a")};
  addTrustStoreGroup("ab", "CCI_CLIENT", roots);
  addTrustStoreGroup("other", "CCI_CLIENT", {root("other")});
  addTrustStoreGroup("e", "CCI_CLIENT", {});
  provision("an identity is no root");
  const std::string bundle = product->get_root_cert_bundle("ab");
  EXPECT_EQ(bundle, pem(roots));
  EXPECT_EQ(bundle.find('\n', 28) - bundle.find('\n'), 65u) << "64 characters a line";
  EXPECT_EQ(product->get_root_cert_bundle("e"), "");
}

TEST_F(StoredObjectsTest, ATrustStoreGroupThatIsUnknownOrAnothersIsThrown) {
  addTrustStoreGroup("a", "OTHER_CLIENT", {root("other")});
  for (const char* group : {"a", "A", ""}) {
    EXPECT_THROW(product->get_root_cert_bundle(group), Botan::Exception) << group;
  }
}

TEST_F(StoredObjectsTest, NoRootIsLeftOutOfALargeTrustStoreGroup) {
  Chain roots(101, authority.root());
  roots[99] = root("the last of the first hundred");
  roots.back() = root("the last");
  addTrustStoreGroup("large", "CCI_CLIENT", roots);
  EXPECT_EQ(product->get_root_cert_bundle("large"), pem(roots));
}

}  // namespace ozk::tee
