// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_randomgenerator.h>
#include <botan/pubkey.h>

#include <set>

#include "layer_test.h"

// The rules of PKCS#11 2.40, through the layer, on two tokens.

namespace {

using Type = AttributeType;
using Fields = std::vector<std::pair<Type, Bytes>>;

class ContractTest : public TokenTest, public testing::WithParamInterface<std::string> {
 protected:
  /// The built token stands in for one that is not installed, until the test is skipped.
  ContractTest() : TokenTest(is_installed() ? GetParam() : BUILT_TOKEN) {}
  void SetUp() override {
    if (!is_installed()) GTEST_SKIP() << GetParam() << " is not installed";
  }
  static bool is_installed() { return std::ifstream(GetParam()).good(); }

  static CK_STATE state_of(const Session& session) { return session.get_info().state; }

  Object create(Session& by, ObjectClass object_class, const Fields& fields) {
    ObjectProperties properties(object_class);
    for (const auto& field : fields) properties.add_binary(field.first, field.second);
    return Object(by, properties);
  }
  Object create(const Fields& fields) { return create(session, ObjectClass::Data, fields); }

  /// How many objects with this attribute the session sees; up to 100.
  template <typename Opened>
  static size_t count(Opened&& by, Type type = Type::Class, const Bytes& value = Bytes(8)) {
    AttributeContainer wanted;
    wanted.add_binary(type, value);
    return ObjectFinder(by, wanted.attributes()).find().size();
  }

  PKCS11_ECDSA_KeyPair generate(Session& by, const std::string& curve = "secp256r1", bool on_token = false) {
    EC_PrivateKeyGenerationProperties private_props;
    private_props.set_token(on_token);
    private_props.set_sensitive(true);
    private_props.set_extractable(false);
    auto pair = generate_ecdsa_keypair(by, params(Botan::EC_Group(curve)), private_props);
    pair.second.set_public_point(pair.first.public_point());
    return pair;
  }

  Bytes sign(const PKCS11_ECDSA_PrivateKey& key) {
    return Botan::PK_Signer(key, rng, "Raw").sign_message(digest, rng);
  }
  bool verifies(const Botan::Public_Key& key, const Bytes& signature) const {
    return Botan::PK_Verifier(key, "Raw").verify_message(digest, signature);
  }

  Botan::AutoSeeded_RNG rng;
  secure_string digest = rng.random_vec(32);
};

INSTANTIATE_TEST_SUITE_P(Rules, ContractTest, testing::Values(BUILT_TOKEN, SOFTHSM), [](const auto& each) {
  return std::string(each.param == SOFTHSM ? "SoftHSM" : "teetoken");
});

TEST_P(ContractTest, HandlesOfNothingAreRefused) {
  Slot none(module, 0x7FFFFFFF);
  EXPECT_CODE(CKR_SLOT_ID_INVALID, none.get_token_info());
  EXPECT_CODE(CKR_SLOT_ID_INVALID, Session(none, true));
  EXPECT_CODE(CKR_SLOT_ID_INVALID, module->C_CloseAllSessions(none.slot_id()));
  EXPECT_CODE(CKR_MECHANISM_INVALID, slot.get_mechanism_info(MechanismType::VendorDefined));
  EXPECT_CODE(CKR_SESSION_PARALLEL_NOT_SUPPORTED, Session(slot, CKF_RW_SESSION, nullptr, nullptr));
  EXPECT_CODE(CKR_CRYPTOKI_ALREADY_INITIALIZED, Module{GetParam()});
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, PKCS11_ECDSA_PrivateKey(session, 0x7FFFFFFF));
}

TEST_P(ContractTest, SessionsShareTheLoginOfOneUser) {
  EXPECT_CODE(CKR_USER_ANOTHER_ALREADY_LOGGED_IN, session.login(UserType::SO, so_pin));
  Session reader(slot, true);
  EXPECT_EQ(state_of(reader), CKS_RO_USER_FUNCTIONS);
  EXPECT_EQ(state_of(session), CKS_RW_USER_FUNCTIONS);
  EXPECT_CODE(CKR_USER_ALREADY_LOGGED_IN, reader.login(UserType::User, pin));
  EXPECT_CODE(CKR_OK, reader.logoff());
  EXPECT_EQ(state_of(reader), CKS_RO_PUBLIC_SESSION);
  EXPECT_EQ(state_of(session), CKS_RW_PUBLIC_SESSION);
  EXPECT_CODE(CKR_PIN_INCORRECT, reader.login(UserType::User, secret("12345678"))) << "the last byte counts";
  EXPECT_CODE(CKR_USER_TYPE_INVALID, reader.login(static_cast<UserType>(99), pin));
  EXPECT_CODE(CKR_SESSION_READ_ONLY_EXISTS, session.login(UserType::SO, so_pin));
  EXPECT_CODE(CKR_OK, module->C_CloseSession(reader.handle()));
  EXPECT_CODE(CKR_OK, session.login(UserType::SO, so_pin));
  EXPECT_EQ(state_of(session), CKS_RW_SO_FUNCTIONS);
  EXPECT_CODE(CKR_SESSION_READ_WRITE_SO_EXISTS, Session(slot, true));
  EXPECT_CODE(CKR_USER_ANOTHER_ALREADY_LOGGED_IN, session.login(UserType::User, pin));
}

TEST_P(ContractTest, TheLoginEndsWithTheSessionThatHasItOrWithTheLastOne) {
  Session moved(std::move(session));
  {
    const Session watching(slot, true);
    const SessionHandle handle = moved.release();
    EXPECT_EQ(state_of(watching), CKS_RO_USER_FUNCTIONS) << "released with its login";
    EXPECT_EQ(state_of(Session(slot, handle)), CKS_RW_USER_FUNCTIONS);
    EXPECT_EQ(state_of(watching), CKS_RO_PUBLIC_SESSION) << "taken over with its login, and closed";
    EXPECT_CODE(CKR_SESSION_HANDLE_INVALID, Session(slot, handle));
  }
  Session last(slot, false);
  last.login(UserType::User, pin);
  module->C_CloseSession(last.release());
  EXPECT_EQ(state_of(Session(slot, true)), CKS_RO_PUBLIC_SESSION);
}

TEST_P(ContractTest, OnlyTheOfficerInitializesATokenAgainWhichDeletesEverything) {
  create({{Type::Token, {1}}, {Type::Private, {0}}});
  EXPECT_CODE(CKR_SESSION_EXISTS, slot.initialize("busy", so_pin));
  EXPECT_CODE(CKR_OK, module->C_CloseAllSessions(slot.slot_id()));
  EXPECT_CODE(CKR_PIN_INCORRECT, slot.initialize("wrong", pin));
  EXPECT_EQ(count(Session(slot, true)), 1U);
  EXPECT_CODE(CKR_OK, slot.initialize("a label of 32 bytes, no blank...", so_pin));
  EXPECT_EQ(count(Session(slot, true)), 0U);
  EXPECT_CODE(CKR_USER_PIN_NOT_INITIALIZED, Session(slot, true).login(UserType::User, pin));
}

TEST_P(ContractTest, EachUserChangesTheirOwnPinAndTheOfficerAlsoTheUsers) {
  const TokenInfo info = slot.get_token_info();
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, session.init_pin(other)) << "as the user";
  EXPECT_CODE(CKR_SESSION_READ_ONLY, Session(slot, true).set_pin(pin, other));
  EXPECT_CODE(CKR_PIN_LEN_RANGE, session.set_pin(pin, secure_string(info.ulMinPinLen - 1)));
  EXPECT_CODE(CKR_PIN_LEN_RANGE, session.set_pin(pin, secure_string(info.ulMaxPinLen + 1)));
  session.logoff();
  EXPECT_CODE(CKR_OK, session.set_pin(pin, other)) << "nobody is logged in: the user's";
  EXPECT_CODE(CKR_PIN_INCORRECT, session.login(UserType::User, pin));
  EXPECT_CODE(CKR_PIN_INCORRECT, change_pin(slot, pin, other));
  EXPECT_CODE(CKR_OK, change_pin(slot, other, pin));
  EXPECT_CODE(CKR_PIN_INCORRECT, change_so_pin(slot, pin, other));
  EXPECT_CODE(CKR_PIN_INCORRECT, set_pin(slot, pin, other));
  EXPECT_CODE(CKR_OK, change_so_pin(slot, so_pin, other));
  EXPECT_CODE(CKR_OK, set_pin(slot, other, so_pin));
  EXPECT_CODE(CKR_OK, session.login(UserType::User, so_pin));
}

TEST_P(ContractTest, AnObjectIsReadAndFoundByItsAttributes) {
  const Fields fields = {{Type::Token, {1}}, {Type::Label, {}}, {Type::Value, Bytes(5000)}};
  const Object object = create(fields);
  for (auto field : fields) {
    EXPECT_EQ(unlock(object.get_attribute_value(field.first)), field.second);
    EXPECT_EQ(count(session, field.first, field.second), 1U);
    field.second.empty() ? field.second.push_back(0) : void(field.second.back() ^= 1);
    EXPECT_EQ(count(session, field.first, field.second), 0U);
  }
}

TEST_P(ContractTest, FaultyTemplatesAreRefused) {
  const auto certificate = [&](const Fields& fields) { create(session, ObjectClass::Certificate, fields); };
  const Fields::value_type x509(Type::CertificateType, Bytes(8)), name(Type::Subject, {1}),
      value(Type::Value, {1});
  EXPECT_CODE(CKR_ATTRIBUTE_TYPE_INVALID, create({{static_cast<Type>(0x80000099), {1}}}));
  EXPECT_CODE(CKR_ATTRIBUTE_VALUE_INVALID, create({{Type::Private, Bytes(8)}})) << "a boolean";
  EXPECT_CODE(CKR_TEMPLATE_INCOMPLETE, certificate({name, value})) << "no certificate type";
  EXPECT_CODE(CKR_TEMPLATE_INCOMPLETE, certificate({x509, value})) << "no subject";
  EXPECT_CODE(CKR_OK, certificate({x509, name, value}));
}

TEST_P(ContractTest, AnObjectIsGuardedByItsAttributes) {
  const Object object = create({{Type::Label, {'a'}}, {Type::Value, {'v'}}});
  const Object fixed = create({{Type::Modifiable, {0}}, {Type::Copyable, {0}}, {Type::Destroyable, {0}}});
  AttributeContainer changed;
  changed.add_string(Type::Label, "b");
  EXPECT_CODE(CKR_ATTRIBUTE_TYPE_INVALID, object.get_attribute_value(Type::EcPoint));
  EXPECT_CODE(CKR_ATTRIBUTE_READ_ONLY, object.set_attribute_value(Type::Class, secure_string(8, 1)));
  const Object copy(session, object.copy(changed));
  EXPECT_CODE(CKR_OK, object.destroy());
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, object.copy(changed));
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, object.get_attribute_value(Type::Label));
  EXPECT_EQ(copy.get_attribute_value(Type::Value), secret("v"));
  EXPECT_EQ(copy.get_attribute_value(Type::Label), secret("b"));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.copy(changed));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.destroy());
}

TEST_P(ContractTest, PrivateObjectsNeedTheLoginAndTokenObjectsAReadWriteSession) {
  const Fields of_token = {{Type::Token, {1}}, {Type::Private, {0}}}, hidden = {{Type::Private, {1}}};
  Session reader(slot, true);
  const Object secret_object = create(hidden), kept(reader, create(of_token).handle());
  AttributeContainer changed;
  changed.add_bool(Type::Token, true);
  EXPECT_CODE(CKR_SESSION_READ_ONLY, create(reader, ObjectClass::Data, of_token));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, generate(reader, "secp256r1", true));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, Object(reader, secret_object.handle()).copy(changed));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, kept.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, kept.destroy());
  EXPECT_CODE(CKR_OK, create(reader, ObjectClass::Data, {{Type::Private, {0}}}));
  EXPECT_EQ(count(reader), 3U);
  session.logoff();
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, create(hidden));
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, generate(session));
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, secret_object.get_attribute_value(Type::Label));
  EXPECT_EQ(count(reader), 2U);
  module.reload();
  Session later(slot, true);
  EXPECT_EQ(count(later), 1U) << "objects of sessions are gone";
}

TEST_P(ContractTest, ASearchIsTheOneActiveOperationOfItsSessionAndGivesEachObjectOnce) {
  const auto pair = generate(session);
  for (int i = 0; i < 128; ++i) create({});
  ObjectFinder finder(session, {});
  std::set<ObjectHandle> found;
  for (const auto& handles : {finder.find(1), finder.find(), finder.find(9)}) {
    found.insert(handles.begin(), handles.end());
  }
  EXPECT_EQ(found.size(), 110U);
  { const ObjectFinder copy(finder); }
  EXPECT_CODE(CKR_OPERATION_ACTIVE, count(session));
  EXPECT_CODE(CKR_OPERATION_ACTIVE, sign(pair.second));
  EXPECT_EQ(count(Session(slot, true)), 100U) << "each session has its own";
  EXPECT_EQ(finder.find().size(), 20U) << "after all of this";
  finder.finish();
  EXPECT_CODE(CKR_OPERATION_NOT_INITIALIZED, finder.find());
  EXPECT_CODE(CKR_OK, sign(pair.second));
}

TEST_P(ContractTest, ATypedSearchFindsItsClassByLabelAndId) {
  using Key = PKCS11_ECDSA_PublicKey;
  const auto key = generate(session).first;
  key.set_attribute_value(Type::Label, {'a'});
  key.set_attribute_value(Type::Id, {1});
  const Bytes id = {1}, other_id = {2};
  EXPECT_THAT(Object::search<Key>(session, "a", id), testing::SizeIs(1));
  EXPECT_THAT(Object::search<Key>(session, "b", id), testing::IsEmpty());
  EXPECT_THAT(Object::search<Key>(session, "a", other_id), testing::IsEmpty());
  EXPECT_THAT(Object::search<Key>(session), testing::SizeIs(1));
}

TEST_P(ContractTest, KeysSignOnEachCurveAsLongAsTheyMay) {
  for (const std::string curve : {"secp256r1", "secp384r1", "secp521r1"}) {
    const auto pair = generate(session, curve);
    const Bytes signature = sign(pair.second);
    EXPECT_TRUE(verifies(pair.first, signature) && verifies(pair.first.export_key(), signature));
    EXPECT_CODE(CKR_ATTRIBUTE_SENSITIVE, pair.second.export_key());
    EXPECT_CODE(CKR_OK, pair.second.set_attribute_value(Type::Sign, {0}));
    EXPECT_CODE(CKR_KEY_FUNCTION_NOT_PERMITTED, sign(pair.second));
    EXPECT_CODE(CKR_OK, pair.first.set_attribute_value(Type::Verify, {0}));
    EXPECT_CODE(CKR_KEY_FUNCTION_NOT_PERMITTED, verifies(pair.first, signature));
    const Botan::EC_Group group(curve);
    const PKCS11_ECDSA_PrivateKey known(session, EC_PrivateKeyImportProperties(params(group), 1));
    EXPECT_TRUE(verifies(Botan::ECDSA_PublicKey(group, group.get_base_point()), sign(known)));
  }
}

TEST_P(ContractTest, ALengthQueryKeepsTheSignatureActiveAndAnythingElseEndsIt) {
  const auto pair = generate(session);
  Mechanism mechanism = {CKM_ECDSA, nullptr, 0};
  Bytes signature(64);
  Ulong length = 0;
  const auto begin = [&] { module->C_SignInit(session.handle(), &mechanism, pair.second.handle()); };
  const auto call = [&](Byte* to) { module->C_Sign(session.handle(), digest.data(), 32, to, &length); };
  EXPECT_CODE(CKR_OK, begin());
  EXPECT_CODE(CKR_OPERATION_ACTIVE, begin());
  EXPECT_CODE(CKR_OK, call(nullptr));
  EXPECT_EQ(length--, 64U);
  EXPECT_CODE(CKR_BUFFER_TOO_SMALL, call(signature.data()));
  EXPECT_EQ(length, 64U);
  EXPECT_CODE(CKR_OK, call(signature.data()));
  EXPECT_TRUE(verifies(pair.first, signature));
  EXPECT_CODE(CKR_OPERATION_NOT_INITIALIZED, call(signature.data()));
}

TEST_P(ContractTest, AWrongSignatureIsFalseAndOneOfAnotherLengthIsAnError) {
  const auto pair = generate(session);
  Bytes signature;
  for (uint8_t i = 0; signature.empty() || signature[0] != 0; ++i) {
    digest[i % 32] = static_cast<uint8_t>(digest[i % 32] + 1);
    ASSERT_EQ((signature = sign(pair.second)).size(), 64U);
  }
  EXPECT_TRUE(verifies(pair.first, signature)) << "with a short r";
  signature[63] ^= 1;
  EXPECT_FALSE(verifies(pair.first, signature));
  for (const size_t length : {1U, 63U, 65U, 96U}) {
    EXPECT_CODE(CKR_SIGNATURE_LEN_RANGE, verifies(pair.first, Bytes(length, 1)));
  }
}

TEST_P(ContractTest, FailedAndDroppedSignaturesDoNotBlockTheSession) {
  const auto pair = generate(session);
  Botan::PK_Signer signer(pair.second, rng, "Raw");
  code_of([&] { signer.sign_message(nullptr, 0, rng); });  // tokens differ in the code
  signer.update("one piece");
  EXPECT_THROW(signer.update("too many"), PKCS11_ReturnError);
  EXPECT_EQ(signer.sign_message(digest, rng).size(), 64U);
  Botan::PK_Signer(pair.second, rng, "Raw").update("dropped");
  Botan::PK_Verifier(pair.first, "Raw").update("dropped");
  EXPECT_CODE(CKR_MECHANISM_INVALID, Botan::PK_Signer(pair.second, rng, "EMSA1(SHA-224)").update("x"));
  signer.update("active");
  EXPECT_CODE(CKR_OPERATION_ACTIVE, count(session));
}

TEST_P(ContractTest, MessagesAreSignedInAnyPiecesIfTheTokenHashes) {
  if (GetParam() == SOFTHSM) GTEST_SKIP() << "it signs digests only";
  const auto pair = generate(session, "secp384r1");
  Session second(slot, true);
  const PKCS11_ECDSA_PublicKey public_key(second, pair.first.handle());
  for (const std::string name : {"EMSA1(SHA-256)", "EMSA1(SHA-384)", "EMSA1(SHA-512)"}) {
    Botan::PK_Signer signer(pair.second, rng, name);
    Botan::PK_Verifier on_token(public_key, name), software(pair.first.export_key(), name);
    for (const size_t piece : {0U, 1U, 2U}) {
      signer.update(digest.data(), piece), on_token.update(digest.data(), piece);
      software.update(digest.data(), piece);
    }
    const auto signature = signer.signature(rng);
    EXPECT_TRUE(on_token.check_signature(signature) && software.check_signature(signature));
  }
}

TEST_P(ContractTest, RandomNumbersFillTheirBufferAndTakeASeed) {
  PKCS11_RNG generator(session);
  const auto many = generator.random_vec(10000);
  EXPECT_EQ(std::set<uint8_t>(many.end() - 5000, many.end()).size(), 256U);
  EXPECT_CODE(CKR_OK, generator.add_entropy(pin.data(), pin.size()));
}

}  // namespace
