// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_randomgenerator.h>

#include <set>

#include "contract_test.h"

namespace {

using RandomTest = TokenTest;
ON_TOKENS(RandomTest, kAllTokens);

TEST_P(RandomTest, NumbersAreFreshFillAllTheirRoomAndNeedNoSeedButTakeIt) {
  Session session(slot, true);
  PKCS11_RNG generator(session);
  std::set<Bytes> seen;
  for (int i = 0; i < 100; ++i) {
    seen.insert(generator.random_vec(16));
  }
  EXPECT_EQ(seen.size(), 100U);
  const auto many = generator.random_vec(10000);
  EXPECT_EQ(std::set<uint8_t>(many.end() - 5000, many.end()).size(), 256U);
  EXPECT_TRUE(generator.is_seeded());
  EXPECT_EQ(generator.reseed(Botan::Entropy_Sources::global_sources()), 0U);
  EXPECT_NO_THROW(generator.add_entropy(pin.data(), pin.size()));
  EXPECT_TRUE(Botan::ECDSA_PrivateKey(generator, Botan::EC_Group("secp256r1")).check_key(rng, true));
}

}  // namespace
