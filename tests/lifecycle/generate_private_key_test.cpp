// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

using ::testing::SizeIs;

TEST_F(ProductTest, AFailedDeletionEndsTheCleanUpBeforeAGenerationButNotTheGeneration) {
  generate();
  importTemporaryChain();
  const struct {
    unsigned nth;
    std::size_t public_keys, private_keys;  // afterwards; private keys are deleted first
  } cases[] = {{1, 2, 2}, {1, 3, 3}, {4, 4, 1}};
  for (const auto& c : cases) {
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, c.nth);
    EXPECT_EQ(generate(), ResultCode::OK);
    EXPECT_THAT(TokenContent::now().temporary,
                ElementsAre(SizeIs(c.public_keys), SizeIs(c.private_keys), SizeIs(1)));
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

}  // namespace ozk::tee
