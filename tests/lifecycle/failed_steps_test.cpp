// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

using ::testing::SizeIs;

TEST_F(ProductTest, AFailedDeletionEndsTheCleanUpBeforeAGenerationButNotTheGeneration) {
  generate();
  importTemporaryChain();
  // The deletion that fails, and how many keys there are afterwards; private keys are deleted first.
  const std::tuple<unsigned, std::size_t, std::size_t> cases[] = {{1, 2, 2}, {3, 3, 1}};
  for (const auto& [nth, public_keys, private_keys] : cases) {
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(generate(), ResultCode::OK);
    EXPECT_THAT(TokenContent::now().temporary,
                ElementsAre(SizeIs(public_keys), SizeIs(private_keys), SizeIs(1)));
    spytoken().stop_interfering();
  }
}

CK_OBJECT_HANDLE g_hidden = 0;
bool g_hides_public_key = true;

// It can be read under the handle 0.
TEST_F(ProductTest, AHandleOfZeroIsAFailureThatIsNoErrorRecord) {
  static const CK_FUNCTION_LIST* const real = spytoken().module().cryptoki;
  CK_FUNCTION_LIST hiding = *real;
  hiding.C_GenerateKeyPair = [](auto... arguments) -> CK_RV {
    const CK_RV code = real->C_GenerateKeyPair(arguments...);
    const auto all = std::tuple(arguments...);
    g_hidden = std::exchange(*(g_hides_public_key ? std::get<6>(all) : std::get<7>(all)), 0);
    return code;
  };
  hiding.C_GetAttributeValue = [](auto session, auto object, auto... arguments) -> CK_RV {
    return real->C_GetAttributeValue(session, object == 0 ? g_hidden : object, arguments...);
  };
  spytoken().module().cryptoki = &hiding;
  for (const bool hides : {true, false}) {
    g_hides_public_key = hides;
    EXPECT_EQ(generate(), ResultCode::CRYPTO_OP_ERROR);
    EXPECT_EQ(log.take().back().second,
              "ClientCertInitializer::generate_private_key returning CRYPTO_OP_ERROR");
  }
}

TEST_F(ProductTest, AChainThatTheTokenDoesNotStoreLeavesTheTemporaryKeys) {
  const auto chain = requestChain("next");
  spytoken().answer("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_EQ(install(pem(chain)), ResultCode::TOKEN_STORE_ERROR);
  EXPECT_THAT(TokenContent::now().temporary, ElementsAre(SizeIs(1), SizeIs(1), SizeIs(0)));
}

TEST_F(ProductTest, ACleanUpAndADeletionStopAtTheFirstFailureAndTheNextCompletesThem) {
  for (const unsigned nth : {1u, 2u, 3u}) {  // public key, private key, chain
    const auto left = ElementsAre(SizeIs(nth <= 1), SizeIs(nth <= 2), SizeIs(1));
    const auto chain = requestChain("next");
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(install(pem(chain)), ResultCode::CRYPTO_OP_ERROR);
    spytoken().stop_interfering();
    EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
    EXPECT_THAT(TokenContent::now().temporary, left);
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(remove(), ResultCode::CRYPTO_OP_ERROR);
    spytoken().stop_interfering();
    EXPECT_THAT(TokenContent::now().installed, left);
  }
  EXPECT_EQ(remove(), ResultCode::OK);
  EXPECT_EQ(TokenContent::now().installed, TokenContent().installed);
}

}  // namespace ozk::tee
