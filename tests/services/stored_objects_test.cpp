// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <map>

#include "api/product_test.h"

namespace ozk::tee {

class StoredObjectsTest : public ProductTest {
 protected:
  static Botan::X509_Certificate root(const std::string& name) { return CertificateAuthority(name).root(); }
};

TEST_F(StoredObjectsTest, DeviceCertificatesComeInTheOrderOfTheirLabels) {
  std::map<unsigned, Botan::X509_Certificate> certificates;
  importCertificate(label(1, 11), {kNoCertificate, kNoCertificate});  // unreadable: it is left out
  for (const unsigned index : {12u, 13u, 14u, 15u, 12u}) {            // of two, the first is returned
    const auto& [each, is_first] = certificates.emplace(index, root(std::to_string(index)));
    importCertificate(label(1, index), is_first ? each->second : root("second"));
  }
  EXPECT_EQ(product->get_client_cert("ZEMP"), pem({certificates.at(13), certificates.at(12)}));
  EXPECT_EQ(product->get_client_cert("BASE"), pem({certificates.at(15), certificates.at(14)}));
}

TEST_F(StoredObjectsTest, TheVinIsReturnedByteForByte) {
  const std::string vin("WVWZZZ1JZXW000001\0", 18);
  importData(label(2, 2), "of another label");
  EXPECT_EQ(product->get_zemp_vin(), "");
  importData(label(2, 1), vin);
  importData(label(2, 1), "a second one");
  EXPECT_EQ(product->get_zemp_vin(), vin);
}

TEST_F(StoredObjectsTest, AllRootsOfATrustStoreGroupComeInTheOrderInWhichTheyWereStored) {
  Chain roots(98, authority.root());
  for (const char* name : {"b", "c", "a"}) roots.push_back(root(name));
  addTrustStoreGroup("large", "CCI_CLIENT", roots);
  addTrustStoreGroup("other", "CCI_CLIENT", {root("other")});
  addTrustStoreGroup("empty", "CCI_CLIENT", {});
  addTrustStoreGroup("another's", "OTHER_CLIENT", {root("other")});
  provision("an identity is no root");
  const std::string bundle = product->get_root_cert_bundle("large");
  EXPECT_EQ(bundle, pem(roots));
  EXPECT_EQ(bundle.find('\n', 28) - bundle.find('\n'), 65u) << "64 characters a line";
  EXPECT_EQ(product->get_root_cert_bundle("empty"), "");
  for (const char* group : {"another's", "Large", ""}) {
    EXPECT_THROW(product->get_root_cert_bundle(group), Botan::Exception) << group;
  }
}

}  // namespace ozk::tee
