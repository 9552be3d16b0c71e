// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

using test_support::importChain;
using test_support::importPrivateKey;
using test_support::Marks;
using test_support::newKey;
using test_support::UserSession;

const Marks kTemporaryMarks = {label(10, 101), "CCI_CLIENT", "LYR"};

struct GeneratePrivateKeyTest : ProductTest {
  ResultCode generate() { return product->generate_private_key("LYR_CSR"); }
};

TEST_F(GeneratePrivateKeyTest, RefusesOtherIdentifiersAndTouchesNothing) {
  generate();
  const auto before = TokenContent::now();
  for (const char* key_id : {"LYR", "lyr_csr", "LYR_CSR ", ""}) {
    EXPECT_EQ(product->generate_private_key(key_id), ResultCode::INVALID_KEY_ID) << key_id;
  }
  EXPECT_EQ(TokenContent::now(), before);
}

TEST_F(GeneratePrivateKeyTest, ReplacesWhatAnEarlierAttemptLeftAndNothingElse) {
  provision("installed");
  generate();
  importChain(*UserSession(), kTemporaryMarks, {});
  for (const Marks& marks : {Marks{label(1, 10)}, Marks{label(10, 101), "OTHER", "LYR"},
                             Marks{label(10, 101), "CCI_CLIENT", "OTHER"}}) {
    importPrivateKey(*UserSession(), marks, newKey());
    importChain(*UserSession(), marks, {});
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

TEST_F(GeneratePrivateKeyTest, CleansUpAHundredKeysAndOneChainACall) {
  {
    UserSession session;
    const auto key = newKey();
    for (int i = 0; i < 101; ++i) importPrivateKey(*session, kTemporaryMarks, key);
    for (int i = 0; i < 2; ++i) importChain(*session, kTemporaryMarks, {});
    EXPECT_EQ(access.deleteOldTemporaryKeys(*session), ResultCode::OK);
  }
  EXPECT_EQ(temporaries(), 2u);
}

TEST_F(GeneratePrivateKeyTest, WhatCannotBeDestroyedStopsTheCleanUpButNotTheGeneration) {
  Marks undeletable = kTemporaryMarks;
  undeletable.destroyable = false;
  generate();
  const auto last = importPrivateKey(*UserSession(), undeletable, newKey());
  const auto behind_it = importPrivateKey(*UserSession(), kTemporaryMarks, newKey());
  importChain(*UserSession(), kTemporaryMarks, {});
  const auto before = TokenContent::now();
  EXPECT_EQ(generate(), ResultCode::OK);
  const auto after = TokenContent::now();
  EXPECT_EQ(after.temporary[0].size(), 2u) << "public keys are not deleted behind it";
  EXPECT_EQ(after.temporary[1].size(), 3u);
  EXPECT_EQ(after.temporary[1].count(last) + after.temporary[1].count(behind_it), 2u);
  EXPECT_EQ(after.temporary[2], before.temporary[2]);
}

/// A token that gives handle 0 to one half of a new key pair, under which it can be read.
template <std::size_t half>
CK_FUNCTION_LIST hidingHalf() {
  static const CK_FUNCTION_LIST* const token = spytoken().module().cryptoki;
  static CK_OBJECT_HANDLE hidden = 0;
  CK_FUNCTION_LIST list = *token;
  list.C_GenerateKeyPair = [](auto... arguments) -> CK_RV {
    const CK_RV code = token->C_GenerateKeyPair(arguments...);
    hidden = std::exchange(*std::get<6 + half>(std::tuple(arguments...)), 0);
    return code;
  };
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                                auto... arguments) -> CK_RV {
    return token->C_GetAttributeValue(session, object == 0 ? hidden : object, arguments...);
  };
  return list;
}

TEST_F(GeneratePrivateKeyTest, AHandleOfZeroIsAFailureThatIsNoErrorRecord) {
  const CK_FUNCTION_LIST no_public = hidingHalf<0>(), no_private = hidingHalf<1>();
  for (const CK_FUNCTION_LIST* list : {&no_public, &no_private}) {
    spytoken().forward_to({list, nullptr});
    EXPECT_EQ(generate(), ResultCode::CRYPTO_OP_ERROR);
    EXPECT_THAT(log.take(), ::testing::Contains(test_support::debug(
                                "ClientCertInitializer::generate_private_key returning CRYPTO_OP_ERROR")));
  }
}

}  // namespace ozk::tee
