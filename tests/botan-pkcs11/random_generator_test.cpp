#include <botan/p11_randomgenerator.h>

#include "fake_token_test.h"

namespace {

using RandomGeneratorTest = FakeTokenTest;

TEST_F(RandomGeneratorTest, NumbersComeFromTheTokenAndSeedsGoToIt) {
  PKCS11_RNG generator(session);
  EXPECT_EQ(generator.random_vec(3), Botan::secure_vector<uint8_t>(3, 'r'));
  generator.add_entropy(reinterpret_cast<const uint8_t*>("seed"), 4);
  EXPECT_EQ(generator.reseed(Botan::Entropy_Sources::global_sources()), 0U);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GenerateRandom 7 3", "C_SeedRandom 7 4"));

  spy.answer("C_GenerateRandom", CKR_RANDOM_NO_RNG);
  EXPECT_EQ(error_of([&] { generator.random_vec(3); }), ReturnValue::RandomNoRng);
  spy.answer("C_SeedRandom", CKR_RANDOM_SEED_NOT_SUPPORTED);
  EXPECT_EQ(error_of([&] { generator.add_entropy(nullptr, 0); }), ReturnValue::RandomSeedNotSupported);
}

}  // namespace
