// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "contract_test.h"

namespace {

using Type = AttributeType;

class KeyTest : public UserTest {
 protected:
  Bytes sign(const PKCS11_ECDSA_PrivateKey& key) {
    const auto signature = Botan::PK_Signer(key, rng, "Raw").sign_message(digest, rng);
    return {signature.begin(), signature.end()};
  }

  bool verifies(const Botan::Public_Key& key, const Bytes& signature) const {
    return Botan::PK_Verifier(key, "Raw").verify_message(digest, signature);
  }

  const Bytes digest = rng.random_vec(32);
};

ON_TOKENS(KeyTest, kAllTokens);

TEST_P(KeyTest, AreGeneratedOnEachCurveAndSayHow) {
  for (const std::string curve : kCurves) {
    const auto pair = generate(curve);
    EXPECT_NE(pair.first.public_point(), generate(curve).first.public_point());
    EXPECT_EQ(pair.first.domain(), Botan::EC_Group(curve));
    EXPECT_EQ(pair.second.domain(), Botan::EC_Group(curve));
    EXPECT_TRUE(pair.first.check_key(rng, true));
    const auto& key = pair.second;
    EXPECT_THAT(key.get_attribute_value(Type::KeyGenMechanism), ElementsAre(0x40, 0x10, 0, 0, 0, 0, 0, 0));
    for (const Type type : {Type::Local, Type::Private, Type::AlwaysSensitive, Type::NeverExtractable}) {
      EXPECT_THAT(key.get_attribute_value(type), ElementsAre(1));
    }
    const PKCS11_ECDSA_PrivateKey alone(session, params(Botan::EC_Group(curve)), {});
    EXPECT_TRUE(verifies(Botan::ECDSA_PublicKey(alone.domain(), alone.public_point()), sign(alone)));
  }
  EXPECT_EQ(count(ObjectClass::PublicKey), 9U);
}

TEST_P(KeyTest, AreGeneratedUnderTheRulesOfObjectsAndKept) {
  const EC_PublicKeyGenerationProperties public_props(params(group));
  EC_PrivateKeyGenerationProperties private_props;
  private_props.set_token(true);
  Session reader(slot, true);
  EXPECT_CODE(SessionReadOnly, generate_ecdsa_keypair(reader, public_props, private_props));
  const auto point = generate_ecdsa_keypair(session, public_props, private_props).first.public_point();
  session.logoff();
  EXPECT_CODE(UserNotLoggedIn, generate_ecdsa_keypair(session, public_props, private_props));
  module.reload();
  Session later(slot, true);
  later.login(UserType::User, pin);
  const auto kept = Object::search<PKCS11_ECDSA_PrivateKey>(later);
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_TRUE(verifies(Botan::ECDSA_PublicKey(group, point), sign(kept[0])));
}

TEST_P(KeyTest, OfKnownScalarsHaveKnownPoints) {
  for (const std::string curve : kCurves) {
    const Botan::EC_Group on(curve);
    const auto base = on.get_base_point();
    for (const auto& known :
         {std::make_pair(Botan::BigInt(1), base), std::make_pair(on.get_order() - 1, -base)}) {
      const PKCS11_ECDSA_PrivateKey key(session, private_half(on, known.first));
      EXPECT_EQ(key.export_key().public_point(), known.second);
      const PKCS11_ECDSA_PublicKey imported(session, public_half(on, known.second));
      EXPECT_EQ(PKCS11_ECDSA_PublicKey(session, imported.handle()).public_point(), known.second);
      const auto signature = sign(PKCS11_ECDSA_PrivateKey(session, key.handle()));
      EXPECT_TRUE(verifies(imported, signature));
      EXPECT_TRUE(verifies(key.export_key(), signature));
    }
  }
}

TEST_P(KeyTest, AreReadAndUsedForWhatTheyAreOnlyAndStayGuarded) {
  const auto pair = generate();
  EXPECT_EQ(message_of<PKCS11_ReturnError>([&] { pair.second.export_key(); }), "PKCS11 error 17");
  const auto signature = sign(pair.second);
  pair.first.set_attribute_value(Type::Verify, {0});
  EXPECT_CODE(KeyFunctionNotPermitted, verifies(pair.first, signature));
  pair.second.set_attribute_value(Type::Sign, {0});
  EXPECT_CODE(KeyFunctionNotPermitted, sign(pair.second));

  const PKCS11_ECDSA_PrivateKey key(session, private_half(group, 5));
  EXPECT_CODE(OK, key.private_key_bits());
  key.set_attribute_value(Type::Extractable, {0});
  EXPECT_CODE(AttributeSensitive, key.private_key_bits());
  EXPECT_CODE(AttributeReadOnly, key.set_attribute_value(Type::Extractable, {1}));
  key.set_attribute_value(Type::Sensitive, {1});
  EXPECT_CODE(AttributeReadOnly, key.set_attribute_value(Type::Sensitive, {0}));
}

}  // namespace
