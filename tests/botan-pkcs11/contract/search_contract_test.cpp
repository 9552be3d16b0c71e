// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <set>

#include "contract_test.h"

namespace {

using SearchTest = UserTest;
ON_TOKENS(SearchTest, kAllTokens);

TEST_P(SearchTest, GoesOnWhereItStoppedAndGivesEachObjectOnce) {
  std::set<ObjectHandle> made, found;
  for (int i = 0; i < 230; ++i) {
    auto object = data("label " + std::to_string(i), i % 2 == 0);
    object.set_token(i % 3 == 0);
    made.insert(Object(session, object).handle());
  }
  AttributeContainer wanted(ObjectClass::Data);
  const ObjectFinder finder(session, wanted.attributes());
  const auto next = [&](const std::vector<ObjectHandle>& handles) {
    found.insert(handles.begin(), handles.end());
    return handles.size();
  };
  EXPECT_EQ(next(finder.find(1)), 1U);
  EXPECT_EQ(next(finder.find()), 100U);
  EXPECT_EQ(next(finder.find(120)), 120U);
  EXPECT_EQ(next(finder.find()), 9U);
  EXPECT_EQ(next(finder.find()), 0U);
  EXPECT_EQ(found, made);
}

TEST_P(SearchTest, WantsAllAttributesOfItsTemplateAndTheFirst100) {
  for (int i = 0; i < 110; ++i) {
    Object(session, data("label " + std::to_string(i), i % 2 == 0));
  }
  AttributeContainer wanted;
  EXPECT_EQ(Object::search<Object>(session, wanted.attributes()).size(), 100U);
  wanted.add_bool(AttributeType::Private, true);
  EXPECT_EQ(count(wanted), 55U);
  wanted.add_string(AttributeType::Label, "label 7");
  EXPECT_EQ(count(wanted), 0U);
  wanted.add_bool(AttributeType::Private, false);
  EXPECT_EQ(count(wanted), 1U);
}

TEST_P(SearchTest, IsTheOneActiveOperationOfItsSession) {
  const auto pair = generate();
  const auto sign = [&] { Botan::PK_Signer(pair.second, rng, "Raw").sign_message(pin, rng); };
  Session other(slot, true);
  ObjectFinder finder(session, {});
  EXPECT_CODE(OperationActive, ObjectFinder(session, {}));
  EXPECT_CODE(OperationActive, sign());
  EXPECT_EQ(ObjectFinder(other, {}).find().size(), 2U) << "each session has its own";
  EXPECT_THAT(pair.first.get_attribute_value(AttributeType::Verify), ElementsAre(1));
  EXPECT_EQ(finder.find().size(), 2U);
  finder.finish();
  EXPECT_CODE(OperationNotInitialized, finder.finish());
  EXPECT_CODE(OperationNotInitialized, finder.find());
  { const ObjectFinder unfinished(session, {}); }
  EXPECT_CODE(OK, sign());
}

TEST_P(SearchTest, OfATypeFindsItsClassByLabelAndId) {
  const auto named = [&](const std::string& label, const std::vector<uint8_t>& id) {
    const auto pair = generate();
    for (const Object* half :
         {static_cast<const Object*>(&pair.first), static_cast<const Object*>(&pair.second)}) {
      half->set_attribute_value(AttributeType::Label, secret(label));
      half->set_attribute_value(AttributeType::Id, Bytes(id.begin(), id.end()));
    }
    return pair;
  };
  const std::vector<uint8_t> one = {1}, two = {2};
  const auto wanted = named("a", one), same_label = named("a", two), same_id = named("b", one);
  Object(session, data("a"));
  const auto publics = Object::search<PKCS11_ECDSA_PublicKey>(session, "a", one);
  ASSERT_EQ(publics.size(), 1U);
  EXPECT_EQ(publics[0].public_point(), wanted.first.public_point());
  const auto privates = Object::search<PKCS11_ECDSA_PrivateKey>(session, "a", one);
  ASSERT_EQ(privates.size(), 1U);
  EXPECT_EQ(privates[0].handle(), wanted.second.handle());
  EXPECT_EQ(Object::search<PKCS11_ECDSA_PublicKey>(session, "a").size(), 2U);
  EXPECT_EQ(Object::search<PKCS11_ECDSA_PrivateKey>(session, one).size(), 2U);
  EXPECT_EQ(Object::search<PKCS11_ECDSA_PrivateKey>(session).size(), 3U);
}

}  // namespace
