// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>

#include "api/journal.h"

namespace ozk::tee {

using test_support::addTrustStoreGroup;
using test_support::pem;

class GetRootCertBundleTest : public JournalTest {
 protected:
  static Botan::X509_Certificate root(const std::string& name) {
    return test_support::CertificateAuthority(name).root();
  }

  static Journal begun() {
    return Journal{debugged("ClientCertInitializer::get_root_cert_bundle: ==>")} + opened();
  }
  static Journal groupSearched(const std::string& group, const Handles& found) {
    return searched({attribute(CKA_CLASS, "0110008000000000"), labelled(group), client()}, found) +
           finished();
  }
  static Journal rootsSearched(const std::string& group, const Handles& found) {
    return searched({objectClass(CKO_CERTIFICATE), attribute(CKA_CERTIFICATE_TYPE, "0000000000000000"),
                     attribute(CKA_TRUSTED, "01"), client(), attribute(0x80001005, group)},
                    found) +
           finished();
  }
  static Journal ended(std::size_t count) {
    const std::string name = "ClientCertInitializer::get_root_cert_bundle";
    return Journal{debugged(name + " :: get_root_cert_bundle: Certificates found: " + number(count)),
                   debugged(name + ": <==")} +
           closed();
  }
};

TEST_F(GetRootCertBundleTest, RootsComeInTheOrderInWhichTheyWereStored) {
  const std::vector<Botan::X509_Certificate> roots = {root("b"), root("c"), root("a")};
  addTrustStoreGroup("ab", "CCI_CLIENT", roots);  // objects 1 to 3, and 4, the group
  addTrustStoreGroup("other", "CCI_CLIENT", {root("other")});
  provision("an identity is no root");
  Journal roots_read;
  for (const Handle object : {1UL, 2UL, 3UL}) {
    roots_read = roots_read + read(object, CKA_VALUE, roots[object - 1].BER_encode().size());
  }
  std::string bundle;
  expect([&] { bundle = product->get_root_cert_bundle("ab"); },
         begun() + groupSearched("6162", {4}) + rootsSearched("6162", {1, 2, 3}) + roots_read +
             groupSearched("6162", {4}) + ended(3));
  EXPECT_EQ(bundle, pem(roots));
  const std::string block = bundle.substr(0, bundle.find("-----END"));
  EXPECT_EQ(block.find('\n', block.find('\n') + 1) - block.find('\n'), 65u) << "64 characters a line";
}

TEST_F(GetRootCertBundleTest, AGroupWithoutRootsGivesNothing) {
  addTrustStoreGroup("e", "CCI_CLIENT", {});
  expect([&] { EXPECT_EQ(product->get_root_cert_bundle("e"), ""); },
         begun() + groupSearched("65", {1}) + rootsSearched("65", {}) + groupSearched("65", {1}) + ended(0));
}

TEST_F(GetRootCertBundleTest, AGroupThatIsUnknownOrAnothersIsThrown) {
  addTrustStoreGroup("a", "OTHER_CLIENT", {root("other")});
  for (const auto& [group, hex] : {std::pair("a", "61"), std::pair("A", "41"), std::pair("", "")}) {
    expect([&, name = group] { product->get_root_cert_bundle(name); },
           begun() + groupSearched(hex, {}) + closed() +
               Journal{"thrown: there is no trust store group '" + std::string(group) +
                       "' for client 'CCI_CLIENT'"});
  }
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
