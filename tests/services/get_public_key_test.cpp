// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>

#include "api/journal.h"

namespace ozk::tee {

TEST_F(ProductTest, PublicKeysNameTheirCurveAndCarryAnUncompressedPoint) {
  provision("installed");
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_NE(product->get_public_key("LYR"), product->get_public_key("LYR_CSR"));
  for (const std::string key_id : {"LYR", "LYR_CSR"}) {
    const auto der = Botan::PEM_Code::decode_check_label(product->get_public_key(key_id), "PUBLIC KEY");
    EXPECT_EQ(der.size(), 91u) << "with explicit parameters it is 311 bytes";
    EXPECT_EQ(der.at(26), 0x04);
  }
}

TEST_F(JournalTest, GetPublicKey) {
  const auto key = [&](const std::string& key_id) {
    return [&, key_id] { product->get_public_key(key_id); };
  };
  for (const char* refused : {"BASE", "ZEMP", "lyr", "LYR ", ""}) {
    expectInSession([&] { EXPECT_EQ(product->get_public_key(refused), ""); }, {});
  }
  const Journal no_object = {"C_GetAttributeValue 1 0 [180=] = 0x82"};
  expectInSession(key("LYR"), lookedUpPublicKey(true, {}) + no_object, "PKCS11 error 130");
  expectInSession(key("LYR_CSR"), lookedUpPublicKey(false, {}) + no_object, "PKCS11 error 130");
  provision("installed");
  product->generate_private_key("LYR_CSR");
  expectInSession(key("LYR"),
                  lookedUpPublicKey(true, {kInstalledPublic}) + openedPublicKey(kInstalledPublic));
  expectInSession(key("LYR_CSR"), lookedUpPublicKey(false, {kNewPublic}) + openedPublicKey(kNewPublic));
}

}  // namespace ozk::tee
