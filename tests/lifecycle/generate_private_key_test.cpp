// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

struct GeneratePrivateKeyTest : ProductTest {};

TEST_F(GeneratePrivateKeyTest, ReplacesWhatAnEarlierAttemptLeftAndNothingElse) {
  provision("installed");
  generate();
  importChain(temporary_marks);
  for (const Marks& marks : {Marks{label(1, 10)}, Marks{label(10, 101), "OTHER", "LYR"},
                             Marks{label(10, 101), "CCI_CLIENT", "OTHER"}}) {
    importPrivateKey(marks, newKey());
    importChain(marks);
  }
  const auto before = TokenContent::now();
  EXPECT_EQ(generate(), ResultCode::OK);
  const auto after = TokenContent::now();
  EXPECT_EQ(after.installed, before.installed);
  EXPECT_EQ(after.others, before.others);
  for (const std::size_t half : {0u, 1u}) {
    EXPECT_EQ(after.temporary[half].size(), 1u);
    EXPECT_NE(after.temporary[half], before.temporary[half]);
  }
  EXPECT_TRUE(after.temporary[2].empty());
}

TEST_F(GeneratePrivateKeyTest, WhatCannotBeDestroyedStopsTheCleanUpButNotTheGeneration) {
  generate();
  Marks undeletable = temporary_marks;
  undeletable.destroyable = false;
  importPrivateKey(undeletable, newKey());
  importPrivateKey(temporary_marks, newKey());
  importChain(temporary_marks);
  const auto before = TokenContent::now().temporary;
  EXPECT_EQ(generate(), ResultCode::OK);
  const auto [public_keys, private_keys, chains] = TokenContent::now().temporary;
  EXPECT_EQ(public_keys.size(), 2u) << "public keys are not deleted behind it";
  EXPECT_EQ(private_keys.size(), 3u) << "nor is the private key behind it";
  EXPECT_EQ(chains, before[2]);
}

CK_OBJECT_HANDLE g_hidden = 0;
bool g_hides_public_key = true;

// It can be read under the handle 0.
TEST_F(GeneratePrivateKeyTest, AHandleOfZeroIsAFailureThatIsNoErrorRecord) {
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
