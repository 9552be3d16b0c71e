#include <botan/exceptn.h>

#include "api/product_test.h"

namespace ozk::tee {

using test_support::addTrustStoreGroup;
using test_support::pem;

class GetRootCertBundleTest : public ProductTest {
 protected:
  static test_support::LogLine record(const std::string& text) {
    return debug("ClientCertInitializer::get_root_cert_bundle" + text);
  }
  static test_support::LogLine countRecord(std::size_t count) {
    return record(" :: get_root_cert_bundle: Certificates found: " + std::to_string(count));
  }

  static Botan::X509_Certificate root(const std::string& name) {
    return test_support::CertificateAuthority(name).root();
  }
};

TEST_F(GetRootCertBundleTest, RootsComeInTheOrderInWhichTheyWereStored) {
  const std::vector<Botan::X509_Certificate> roots = {root("b"), root("c"), root("a")};
  addTrustStoreGroup("backend", "CCI_CLIENT", roots);
  addTrustStoreGroup("other", "CCI_CLIENT", {root("other")});
  provision("an identity is no root");
  const std::string bundle = product->get_root_cert_bundle("backend");
  EXPECT_EQ(bundle, pem(roots));
  EXPECT_THAT(log.take(), ElementsAre(record(": ==>"), countRecord(3), record(": <==")));

  const std::string block = bundle.substr(0, bundle.find("-----END"));
  EXPECT_EQ(block.find('\n', block.find('\n') + 1) - block.find('\n'), 65u) << "64 characters a line";
}

TEST_F(GetRootCertBundleTest, AGroupWithoutRootsGivesNothing) {
  addTrustStoreGroup("empty", "CCI_CLIENT", {});
  EXPECT_EQ(product->get_root_cert_bundle("empty"), "");
  EXPECT_THAT(log.take(), ElementsAre(record(": ==>"), countRecord(0), record(": <==")));
}

TEST_F(GetRootCertBundleTest, AGroupThatIsUnknownOrAnothersIsThrown) {
  addTrustStoreGroup("backend", "OTHER_CLIENT", {root("other")});
  for (const std::string group : {"backend", "Backend", "", "backend "}) {
    EXPECT_THROW(product->get_root_cert_bundle(group), Botan::Lookup_Error) << group;
    EXPECT_THAT(log.take(), ElementsAre(record(": ==>"))) << group;
  }
  EXPECT_EQ(product->get_zemp_vin(), "") << "nothing was left open";
}

TEST_F(GetRootCertBundleTest, NoRootIsLeftOutOfALargeGroup) {
  for (const std::size_t count : {100u, 101u}) {
    std::vector<Botan::X509_Certificate> roots(count, authority.root());
    roots[99] = root("the last of the first hundred");
    roots.back() = root("the last");
    addTrustStoreGroup(std::to_string(count), "CCI_CLIENT", roots);
    EXPECT_EQ(product->get_root_cert_bundle(std::to_string(count)), pem(roots));
  }
}

}  // namespace ozk::tee
