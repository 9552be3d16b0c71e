// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

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

TEST_F(ProductTest, OnlyTheInstalledAndTheBaseKeySign) {
  for (const char* missing : {"LYR", "BASE"}) {
    EXPECT_TRUE(product->generate_signature(missing, {1}, "").empty()) << missing;
  }
  provision("installed");
  importBaseKey();
  product->generate_private_key("LYR_CSR");
  for (const char* refused : {"LYR_CSR", "ZEMP", "lyr", "BASE ", ""}) {
    EXPECT_TRUE(product->generate_signature(refused, {1}, "").empty()) << refused;
  }
}

}  // namespace ozk::tee
