// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"

namespace ozk::tee {

// About one signature in 128 has an r or an s that begins with a zero byte.
TEST_F(ProductTest, SignaturesOfAnyDataVerifyAndHaveOneWidth) {
  provision("installed");
  const std::string installed = product->get_public_key("LYR"), base = importBaseKey();
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

TEST_F(JournalTest, GenerateSignature) {
  const auto signature = [&](const std::string& key_id, std::size_t size) {
    return [&, key_id, size] {
      EXPECT_EQ(product->generate_signature(key_id, Bytes(5), "unused").size(), size);
    };
  };
  const auto signedBy = [](Handle key) {
    return openedPrivateKey(key) +
           Journal{"C_SignInit 1 1044 " + number(key), "C_Sign 1 5 -> 64", "C_Sign 1 5 -> 64"};
  };
  const Journal base = {debugged("ClientCertInitializer::Getting Base Key Id")};
  for (const char* refused : {"LYR_CSR", "ZEMP", "lyr", "BASE ", ""})
    expectInSession(signature(refused, 0), {});
  expectInSession(signature("LYR", 0), lookedUpPrivateKey(true, {}));
  expectInSession(
      signature("BASE", 0),
      base + lookedUpBaseKey({}) +
          Journal{failed("ClientCertInitializer::generate_signature signature generation failed")});
  provision("installed");
  importBaseKey();  // object 7
  importBaseKey();  // object 8
  expectInSession(signature("LYR", 64),
                  lookedUpPrivateKey(true, {kInstalledPrivate}) + signedBy(kInstalledPrivate));
  expectInSession(signature("BASE", 64), base + lookedUpBaseKey({7, 8}) + signedBy(7));
}

}  // namespace ozk::tee
