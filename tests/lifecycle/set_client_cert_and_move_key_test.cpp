// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

using ::testing::SizeIs;

class SetClientCertTest : public ProductTest {
 protected:
  /// Whether "LYR" is this chain and a key that signs for its certificate.
  bool serves(const Chain& chain) {
    return product->get_client_cert("LYR") == pem(chain) &&
           product->get_public_key("LYR") == certifiedKey(pem(chain)) && signsWithInstalledKey();
  }

  /// Which objects are left when the destruction of one kind failed, and of those before it did not.
  static void expectLeftFrom(unsigned nth, const std::array<TokenContent::Handles, 3>& objects) {
    for (unsigned kind = 0; kind < 3; ++kind) EXPECT_EQ(objects[kind].size(), kind + 1 >= nth);
  }
};

TEST_F(SetClientCertTest, AChainThatTheTokenDoesNotStoreLeavesTheTemporaryKeys) {
  const auto chain = provision("installed"), next = requestChain("next");
  spytoken().answer("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_EQ(install(pem(next)), ResultCode::TOKEN_STORE_ERROR);
  EXPECT_THAT(TokenContent::now().temporary, ElementsAre(SizeIs(1), SizeIs(1), SizeIs(0)));
  EXPECT_TRUE(serves(chain));
  spytoken().stop_interfering();
  EXPECT_EQ(install(pem(next)), ResultCode::OK);
  EXPECT_TRUE(serves(next));
}

TEST_F(SetClientCertTest, ACleanUpAndADeletionStopAtTheFirstFailureAndTheNextCompletesThem) {
  for (const unsigned nth : {1u, 2u, 3u}) {  // public key, private key, chain
    const auto chain = requestChain("next");
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(install(pem(chain)), ResultCode::CRYPTO_OP_ERROR);
    spytoken().stop_interfering();
    EXPECT_TRUE(serves(chain));
    expectLeftFrom(nth, TokenContent::now().temporary);
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(remove(), ResultCode::CRYPTO_OP_ERROR);
    spytoken().stop_interfering();
    expectLeftFrom(nth, TokenContent::now().installed);
  }
  EXPECT_EQ(remove(), ResultCode::OK);
  EXPECT_EQ(TokenContent::now().installed, TokenContent().installed);
}

}  // namespace ozk::tee
