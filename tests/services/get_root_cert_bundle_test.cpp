// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>

#include "api/product_test.h"

namespace ozk::tee {

using test_support::addTrustStoreGroup;

Botan::X509_Certificate root(const std::string& name) {
  return test_support::CertificateAuthority(name).root();
}

TEST_F(ProductTest, RootsComeInTheOrderInWhichTheyWereStored) {
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

TEST_F(ProductTest, ATrustStoreGroupThatIsUnknownOrAnothersIsThrown) {
  addTrustStoreGroup("a", "OTHER_CLIENT", {root("other")});
  for (const char* group : {"a", "A", ""}) {
    EXPECT_THROW(product->get_root_cert_bundle(group), Botan::Exception) << group;
  }
}

TEST_F(ProductTest, NoRootIsLeftOutOfALargeTrustStoreGroup) {
  Chain roots(101, authority.root());
  roots[99] = root("the last of the first hundred");
  roots.back() = root("the last");
  addTrustStoreGroup("large", "CCI_CLIENT", roots);
  EXPECT_EQ(product->get_root_cert_bundle("large"), pem(roots));
}

}  // namespace ozk::tee
