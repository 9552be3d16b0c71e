// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "identity_templates.h"

#include <gmock/gmock.h>

#include "api/key_ids.h"
#include "tee/templates.h"

namespace tee_token_admin {
namespace {

namespace library = ozk::tee;
using Botan::PKCS11::AttributeContainer;

using Attributes = std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::vector<std::uint8_t>>>;

Attributes attributes_of(const AttributeContainer& container) {
  Attributes all;
  for (const CK_ATTRIBUTE& each : container.attributes()) {
    const auto* const bytes = static_cast<const std::uint8_t*>(each.pValue);
    all.emplace_back(each.type, std::vector<std::uint8_t>(bytes, bytes + each.ulValueLen));
  }
  return all;
}

// What a module is tried with is what the library will hand to it.
TEST(IdentityTemplates, WithTheLibrarysMarksAreTheLibrarysTemplates) {
  const IdentityMarks marks = {library::kClientId, library::kLYRKeyId, "10_100", "10_101",
                               library::kChainLabel};
  const std::vector<std::uint8_t> chain = {1, 2, 3};
  EXPECT_EQ(attributes_of(public_key_generation(marks)), attributes_of(library::lyrPublicKeyGeneration()));
  EXPECT_EQ(attributes_of(private_key_generation(marks)), attributes_of(library::lyrPrivateKeyGeneration()));
  Botan::PKCS11::TrustStoreGroupCertificateChainProperties chain_template(chain);
  library::addLYRCertificateChainAttributes(chain_template, library::kLYRKeyId);
  EXPECT_EQ(attributes_of(chain_creation(marks, chain)), attributes_of(chain_template));
  for (const bool permanent : {false, true}) {
    EXPECT_EQ(attributes_of(public_key_search(marks, permanent)),
              attributes_of(library::lyrPublicKeySearch(permanent)));
    EXPECT_EQ(attributes_of(private_key_search(marks, permanent)),
              attributes_of(library::lyrPrivateKeySearch(permanent)));
    EXPECT_EQ(attributes_of(chain_search(marks, permanent)),
              attributes_of(library::lyrCertificateChainSearch(permanent)));
  }
}

}  // namespace
}  // namespace tee_token_admin
