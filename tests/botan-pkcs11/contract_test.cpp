// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_randomgenerator.h>
#include <botan/pubkey.h>

#include <filesystem>
#include <set>

#include "layer_test.h"

// The rules of PKCS#11 2.40, through the layer, on two tokens.

namespace {

using Type = AttributeType;
using Fields = std::vector<std::pair<Type, Bytes>>;

class ContractTest : public TokenTest, public testing::WithParamInterface<std::string> {
 protected:
  ContractTest() : TokenTest(GetParam()) {}

  static CK_STATE state_of(const Session& session) { return session.get_info().state; }

  static Object create(Session& by, const Fields& fields) {
    ObjectProperties properties(ObjectClass::Data);
    for (const auto& field : fields) properties.add_binary(field.first, field.second);
    return Object(by, properties);
  }

  static AttributeContainer with(Type type, const Bytes& value) {
    AttributeContainer attributes;
    attributes.add_binary(type, value);
    return attributes;
  }
  /// How many objects with this attribute the session sees; up to 100.
  template <typename Opened>
  static size_t count(Opened&& by, Type type = Type::Class, const Bytes& value = Bytes(8)) {
    return ObjectFinder(by, with(type, value).attributes()).find().size();
  }

  PKCS11_ECDSA_KeyPair generate(Session& by, const std::string& curve = "secp256r1", bool on_token = false) {
    EC_PrivateKeyGenerationProperties private_props;
    private_props.set_token(on_token);
    return generate_ecdsa_keypair(by, params(Botan::EC_Group(curve)), private_props);
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

const auto kTokens = std::filesystem::exists(SOFTHSM) ? std::vector<std::string>{BUILT_TOKEN, SOFTHSM}
                                                      : std::vector<std::string>{BUILT_TOKEN};
INSTANTIATE_TEST_SUITE_P(Rules, ContractTest, testing::ValuesIn(kTokens), [](const auto& each) {
  return std::string(each.param == SOFTHSM ? "SoftHSM" : "teetoken");
});

TEST_P(ContractTest, SessionsShareTheLoginOfOneUserWhichEndsWithTheLastOfThem) {
  EXPECT_CODE(CKR_SESSION_EXISTS, slot.initialize("busy", so_pin));
  EXPECT_CODE(CKR_SLOT_ID_INVALID, Slot(module, 4711).get_slot_info());
  EXPECT_CODE(CKR_SESSION_PARALLEL_NOT_SUPPORTED, Session(slot, Flags(CKF_RW_SESSION), nullptr, nullptr));
  Session reader(slot, true);
  EXPECT_EQ(state_of(reader), CKS_RO_USER_FUNCTIONS);
  EXPECT_CODE(CKR_USER_ALREADY_LOGGED_IN, reader.login(UserType::User, pin));
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, session.init_pin(so_pin)) << "as the user";
  EXPECT_CODE(CKR_SESSION_READ_ONLY, reader.set_pin(pin, so_pin));
  reader.logoff();
  EXPECT_CODE(CKR_PIN_INCORRECT, session.set_pin(so_pin, pin));
  EXPECT_CODE(CKR_SESSION_READ_ONLY_EXISTS, session.login(UserType::SO, so_pin));
  EXPECT_CODE(CKR_OK, module->C_CloseSession(reader.handle()));
  EXPECT_CODE(CKR_OK, session.login(UserType::SO, so_pin));
  EXPECT_CODE(CKR_SESSION_READ_WRITE_SO_EXISTS, Session(slot, true));
  EXPECT_CODE(CKR_USER_ANOTHER_ALREADY_LOGGED_IN, session.login(UserType::User, pin));
  module->C_CloseAllSessions(slot.slot_id());
  EXPECT_CODE(CKR_PIN_INCORRECT, slot.initialize("wrong", pin));
  EXPECT_CODE(CKR_OK, Session(slot, true).login(UserType::User, pin)) << "nothing was deleted";
}

TEST_P(ContractTest, TheLoginEndsWithTheSessionThatHasIt) {
  Session moved(std::move(session));
  const Session watching(slot, true);
  const SessionHandle handle = moved.release();
  EXPECT_EQ(state_of(watching), CKS_RO_USER_FUNCTIONS) << "released with its login";
  EXPECT_EQ(state_of(Session(slot, handle)), CKS_RW_USER_FUNCTIONS);
  EXPECT_EQ(state_of(watching), CKS_RO_PUBLIC_SESSION) << "taken over with its login, and closed";
}

TEST_P(ContractTest, AnObjectIsReadAndFoundByItsAttributes) {
  const Fields fields = {{Type::Token, {1}}, {Type::Label, {}}, {Type::Value, Bytes(5000)}};
  const Object object = create(session, fields);
  for (auto field : fields) {
    EXPECT_EQ(unlock(object.get_attribute_value(field.first)), field.second);
    EXPECT_EQ(count(session, field.first, field.second), 1U);
    field.second.empty() ? field.second.push_back(0) : void(field.second.back() ^= 1);
    EXPECT_EQ(count(session, field.first, field.second), 0U);
  }
}

TEST_P(ContractTest, AnObjectIsGuardedByItsAttributes) {
  const Fields forbidden = {{Type::Modifiable, {0}}, {Type::Copyable, {0}}, {Type::Destroyable, {0}}};
  const Object object = create(session, {{Type::Value, {'v'}}}), fixed = create(session, forbidden);
  EXPECT_CODE(CKR_ATTRIBUTE_TYPE_INVALID, create(session, {{static_cast<Type>(0x80000099), {1}}}));
  const Object copy(session, object.copy(with(Type::Label, {'b'})));
  EXPECT_CODE(CKR_OK, object.destroy());
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, object.get_attribute_value(Type::Label));
  EXPECT_EQ(copy.get_attribute_value(Type::Value), secret("v"));
  EXPECT_EQ(copy.get_attribute_value(Type::Label), secret("b"));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.copy(with(Type::Label, {})));
  EXPECT_CODE(CKR_ACTION_PROHIBITED, fixed.destroy());
}

TEST_P(ContractTest, PrivateObjectsNeedTheLoginAndTokenObjectsAReadWriteSession) {
  const Fields of_token = {{Type::Token, {1}}, {Type::Private, {0}}}, hidden = {{Type::Private, {1}}};
  Session reader(slot, true);
  const Object secret_object = create(session, hidden), kept(reader, create(session, of_token).handle());
  EXPECT_CODE(CKR_SESSION_READ_ONLY, create(reader, of_token));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, generate(reader, "secp256r1", true));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, kept.copy(with(Type::Label, {})));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, kept.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(CKR_SESSION_READ_ONLY, kept.destroy());
  EXPECT_CODE(CKR_OK, create(reader, {{Type::Private, {0}}}));
  session.logoff();
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, create(session, hidden));
  EXPECT_CODE(CKR_USER_NOT_LOGGED_IN, generate(session));
  EXPECT_CODE(CKR_OBJECT_HANDLE_INVALID, secret_object.get_attribute_value(Type::Label));
  EXPECT_CODE(CKR_OK, create(session, {{Type::Private, {0}}}));
  EXPECT_EQ(count(reader), 3U);
  EXPECT_CODE(CKR_OK, module->C_CloseSession(reader.handle()));
  EXPECT_EQ(count(session), 2U) << "the objects of that session are gone, and no others";
  module.reload();
  EXPECT_EQ(count(Session(slot, true)), 1U) << "objects of sessions are gone";
}

TEST_P(ContractTest, ASearchIsTheOneActiveOperationOfItsSessionAndGivesEachObjectOnce) {
  const auto pair = generate(session);
  for (int i = 0; i < 128; ++i) create(session, {});
  ObjectFinder finder(session, {});
  std::set<ObjectHandle> found;
  for (const auto& handles : {finder.find(1), finder.find(), finder.find(9)}) {
    found.insert(handles.begin(), handles.end());
  }
  EXPECT_EQ(found.size(), 110U);
  { const ObjectFinder copy(finder); }
  EXPECT_CODE(CKR_OPERATION_ACTIVE, count(session));
  EXPECT_CODE(CKR_OPERATION_ACTIVE, sign(pair.second));
  EXPECT_EQ(finder.find().size(), 20U) << "after all of this";
  finder.finish();
  EXPECT_CODE(CKR_OK, sign(pair.second));
}

TEST_P(ContractTest, KeysSignOnEachCurveAsLongAsTheyMay) {
  // Half of the numbers of the last curve begin with a zero byte.
  for (const std::string curve : {"secp256r1", "secp384r1", "secp521r1", "secp521r1", "secp521r1"}) {
    const Botan::EC_Group group(curve);
    const auto pair = generate(session, curve);
    Bytes signature = sign(pair.second);
    EXPECT_TRUE(verifies(pair.first, signature) && verifies(pair.first.export_key(), signature));
    const PKCS11_ECDSA_PrivateKey known(session, EC_PrivateKeyImportProperties(params(group), 1));
    EXPECT_TRUE(verifies(Botan::ECDSA_PublicKey(group, group.get_base_point()), sign(known)));
    signature.back() ^= 1;
    EXPECT_FALSE(verifies(pair.first, signature));
    for (const size_t n : {1U, 133U}) EXPECT_CODE(CKR_SIGNATURE_LEN_RANGE, verifies(pair.first, Bytes(n, 1)));
    EXPECT_CODE(CKR_ATTRIBUTE_SENSITIVE, pair.second.export_key());
    pair.second.set_attribute_value(Type::Sign, {0});
    EXPECT_CODE(CKR_KEY_FUNCTION_NOT_PERMITTED, sign(pair.second));
  }
}

TEST_P(ContractTest, ALengthQueryKeepsTheSignatureActiveAndAnythingElseEndsIt) {
  const auto pair = generate(session);
  Mechanism mechanism = {CKM_ECDSA, nullptr, 0};
  Bytes signature(64);
  Ulong length = 0;
  const auto call = [&](Byte* to) { module->C_Sign(session.handle(), digest.data(), 32, to, &length); };
  module->C_SignInit(session.handle(), &mechanism, pair.second.handle());
  EXPECT_CODE(CKR_OK, call(nullptr));
  EXPECT_EQ(length--, 64U);
  EXPECT_CODE(CKR_BUFFER_TOO_SMALL, call(signature.data()));
  EXPECT_EQ(length, 64U);
  EXPECT_CODE(CKR_OK, call(signature.data()));
  EXPECT_TRUE(verifies(pair.first, signature));
  EXPECT_CODE(CKR_OPERATION_NOT_INITIALIZED, call(signature.data()));
}

TEST_P(ContractTest, MessagesAreSignedInAnyPiecesIfTheTokenHashes) {
  const auto pair = generate(session, "secp384r1");
  if (GetParam() == SOFTHSM) return;  // it signs digests only
  const auto update = [&](auto& operation) {
    for (const size_t piece : {0U, 1U, 2U}) operation.update(digest.data(), piece);
  };
  for (const std::string name : {"EMSA1(SHA-256)", "EMSA1(SHA-384)", "EMSA1(SHA-512)"}) {
    Botan::PK_Signer signer(pair.second, rng, name);
    Botan::PK_Verifier on_token(pair.first, name), software(pair.first.export_key(), name);
    update(signer);
    const auto signature = signer.signature(rng);
    update(on_token), update(software);
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
