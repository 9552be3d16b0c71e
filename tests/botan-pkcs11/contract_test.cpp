// What the layer and a real token do together, on every token at hand.

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/p11_x509.h>
#include <botan/pkcs10.h>
#include <botan/pubkey.h>
#include <botan/x509self.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "fake_token_test.h"
#include "support/temporary_folder.h"

namespace {

struct Token {
  const char* name;
  const char* module;
};

void PrintTo(const Token& token, std::ostream* out) { *out << token.name; }

/// A user's session with a new token of the module of the parameter.
class TokenTest : public testing::TestWithParam<Token> {
 protected:
  void SetUp() override {
    const auto softhsm_conf = folder.path() / "softhsm2.conf";
    std::ofstream(softhsm_conf) << "directories.tokendir = " << folder.path().string() << '\n';
    ::setenv("SOFTHSM2_CONF", softhsm_conf.c_str(), 1);
    ::setenv("TEE_TOKEN_DIR", empty_folder.path().c_str(), 1);
    module.reset(new Module(GetParam().module));
    Slot blank(*module, Slot::get_available_slots(*module, true).at(0));
    initialize_token(blank, "contract", so_pin, pin);
    module->reload();  // an initialized token may be in another slot
    slot.reset(new Slot(*module, Slot::get_available_slots(*module, true).at(0)));
    session.reset(new Session(*slot, false));
    session->login(UserType::User, pin);
  }

  PKCS11_ECDSA_KeyPair generate(const std::string& curve = "secp256r1") {
    EC_PublicKeyGenerationProperties public_props(
        Botan::EC_Group(curve).DER_encode(Botan::EC_DOMPAR_ENC_OID));
    EC_PrivateKeyGenerationProperties private_props;
    private_props.set_sensitive(true);
    private_props.set_extractable(false);
    auto pair = generate_ecdsa_keypair(*session, public_props, private_props);
    pair.second.set_public_point(pair.first.public_point());
    return pair;
  }

  DataObjectProperties data(const std::string& label, bool is_private) {
    DataObjectProperties properties;
    properties.set_label(label);
    properties.set_value(secret("value of " + label));
    properties.set_private(is_private);
    return properties;
  }

  size_t count(const AttributeContainer& attributes) {
    return Object::search<Object>(*session, attributes.attributes()).size();
  }

  const Botan::secure_vector<uint8_t> so_pin = secret("87654321");
  const Botan::secure_vector<uint8_t> pin = secret(std::string("12345678\0", 9));
  Botan::AutoSeeded_RNG rng;
  test_support::TemporaryFolder folder, empty_folder;
  std::unique_ptr<Module> module;
  std::unique_ptr<Slot> slot;
  std::unique_ptr<Session> session;
};

TEST_P(TokenTest, LoginIsOfTheTokenAndEndsWithTheSessionThatLoggedIn) {
  Session other(*slot, true);
  EXPECT_EQ(other.get_info().state, static_cast<CK_STATE>(SessionState::RoUserFunctions));
  EXPECT_EQ(error_of([&] { other.login(UserType::User, pin); }), ReturnValue::UserAlreadyLoggedIn);
  session.reset();
  EXPECT_EQ(other.get_info().state, static_cast<CK_STATE>(SessionState::RoPublicSession));
  EXPECT_EQ(error_of([&] { other.login(UserType::User, secret("12345678")); }), ReturnValue::PinIncorrect);
  change_pin(*slot, pin, secret("11111111"));
  EXPECT_NO_THROW(other.login(UserType::User, secret("11111111")));
}

TEST_P(TokenTest, ObjectsObeyLoginAndSession) {
  const Object secret_object(*session, data("secret", true)), public_object(*session, data("public", false));
  auto persistent = data("persistent", false);
  persistent.set_token(true);
  Session reader(*slot, true);
  EXPECT_EQ(error_of([&] { Object(reader, persistent); }), ReturnValue::SessionReadOnly);
  EXPECT_EQ(count(AttributeContainer(ObjectClass::Data)), 2U);
  session->logoff();
  EXPECT_EQ(error_of([&] { Object(*session, data("secret", true)); }), ReturnValue::UserNotLoggedIn);
  EXPECT_EQ(count(AttributeContainer(ObjectClass::Data)), 1U);
}

TEST_P(TokenTest, AttributesAreReadChangedCopiedAndGoneWithTheirObject) {
  const Object object(*session, data("first", true));
  EXPECT_EQ(object.get_attribute_value(AttributeType::Value), secret("value of first"));
  EXPECT_EQ(object.get_attribute_value(AttributeType::Class), Botan::secure_vector<uint8_t>(8));
  EXPECT_EQ(error_of([&] { object.get_attribute_value(AttributeType::EcPoint); }),
            ReturnValue::AttributeTypeInvalid);
  object.set_attribute_value(AttributeType::Label, {});
  EXPECT_THAT(object.get_attribute_value(AttributeType::Label), IsEmpty());

  AttributeContainer changed;
  changed.add_string(AttributeType::Label, "second");
  const Object copy(*session, object.copy(changed));
  object.destroy();
  EXPECT_EQ(error_of([&] { object.destroy(); }), ReturnValue::ObjectHandleInvalid);
  EXPECT_EQ(copy.get_attribute_value(AttributeType::Value), secret("value of first"));
  EXPECT_EQ(copy.get_attribute_value(AttributeType::Label), secret("second"));
}

TEST_P(TokenTest, ASearchGoesOnWhereItStoppedAndFindsByEveryAttribute) {
  for (int i = 0; i < 130; ++i) {
    Object(*session, data("label " + std::to_string(i), i % 2 == 0));
  }
  AttributeContainer attributes(ObjectClass::Data);
  {
    ObjectFinder finder(*session, attributes.attributes());
    EXPECT_EQ(finder.find().size(), 100U);
    EXPECT_EQ(error_of([&] { ObjectFinder(*session, {}); }), ReturnValue::OperationActive);
    EXPECT_EQ(finder.find().size(), 30U);
    EXPECT_EQ(finder.find().size(), 0U);
  }
  attributes.add_bool(AttributeType::Private, true);
  EXPECT_EQ(count(attributes), 65U);
  attributes.add_string(AttributeType::Label, "label 7");
  EXPECT_EQ(count(attributes), 0U);
  attributes.add_bool(AttributeType::Private, false);
  EXPECT_EQ(count(attributes), 1U);
}

TEST_P(TokenTest, SignsAndVerifiesADigestOnEachCurve) {
  for (const std::string curve : {"secp256r1", "secp384r1", "secp521r1"}) {
    const auto pair = generate(curve);
    const auto digest = rng.random_vec(32);
    auto signature = Botan::PK_Signer(pair.second, rng, "Raw").sign_message(digest, rng);
    EXPECT_EQ(signature.size(), 2 * pair.second.message_part_size());
    Botan::PK_Verifier on_token(pair.first, "Raw");
    EXPECT_TRUE(Botan::PK_Verifier(pair.first.export_key(), "Raw").verify_message(digest, signature));
    EXPECT_TRUE(on_token.verify_message(digest, signature));
    signature.back() ^= 1;
    EXPECT_FALSE(on_token.verify_message(digest, signature));
    signature.pop_back();
    EXPECT_EQ(error_of([&] { on_token.verify_message(digest, signature); }), ReturnValue::SignatureLenRange);
  }
}

TEST_P(TokenTest, AnOperationThatFailsOrIsDroppedDoesNotBlockTheSession) {
  const auto pair = generate();
  {
    Botan::PK_Signer signer(pair.second, rng, "Raw");
    error_of([&] { signer.sign_message(nullptr, 0, rng); });  // an answer that tokens differ in
    signer.update("one piece");
    EXPECT_THROW(signer.update("too many"), PKCS11_ReturnError);
    EXPECT_EQ(signer.sign_message(rng.random_vec(32), rng).size(), 64U);
    signer.update("dropped");
  }
  EXPECT_EQ(count(AttributeContainer(ObjectClass::PrivateKey)), 1U);
}

TEST_P(TokenTest, HashesAndSignsMessagesAndRequests) {
  auto pair = generate();
  Botan::PK_Signer signer(pair.second, rng, "EMSA1(SHA-256)");
  if (!testing::Value(slot->get_mechanism_list(), testing::Contains(MechanismType::EcdsaSha256))) {
    // SoftHSM signs digests only: the caller is told so, and the session is free for the next operation.
    EXPECT_EQ(error_of([&] { signer.update("message"); }), ReturnValue::MechanismInvalid);
    EXPECT_EQ(Botan::PK_Signer(pair.second, rng, "Raw").sign_message(rng.random_vec(32), rng).size(), 64U);
    return;
  }
  Botan::PK_Verifier verifier(pair.first.export_key(), "EMSA1(SHA-256)");
  for (const auto& pieces :
       std::vector<std::vector<std::string>>{{"one"}, {""}, {"one", "two", ""}, {"", "two"}}) {
    for (const auto& piece : pieces) {
      signer.update(piece);
      verifier.update(piece);
    }
    EXPECT_TRUE(verifier.check_signature(signer.signature(rng)));
  }
  EXPECT_TRUE(pair.second.check_key(rng, true));
  pair.second.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  pair.second.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  const auto request = Botan::X509::create_cert_req(Botan::X509_Cert_Options(), pair.second, "SHA-256", rng);
  EXPECT_EQ(request.raw_public_key(), pair.first.export_key().subject_public_key());
}

TEST_P(TokenTest, ImportedKeysAreTheKeysThatWentIn) {
  const Botan::ECDSA_PrivateKey software(rng, Botan::EC_Group("secp256r1"));
  EC_PrivateKeyImportProperties properties(software.domain().DER_encode(Botan::EC_DOMPAR_ENC_OID),
                                           software.private_value());
  properties.set_sensitive(false);
  properties.set_extractable(true);
  const PKCS11_ECDSA_PrivateKey key(*session, properties);
  EXPECT_EQ(key.export_key().private_value(), software.private_value());
  const auto digest = rng.random_vec(32);
  const auto signature = Botan::PK_Signer(key, rng, "Raw").sign_message(digest, rng);
  EXPECT_TRUE(Botan::PK_Verifier(software, "Raw").verify_message(digest, signature));
  EXPECT_EQ(error_of([&] { generate().second.export_key(); }), ReturnValue::AttributeSensitive);
}

TEST_P(TokenTest, CertificatesAreFoundByTheirLabelAndId) {
  const Botan::ECDSA_PrivateKey key(rng, Botan::EC_Group("secp256r1"));
  const auto certificate =
      Botan::X509::create_self_signed_cert(Botan::X509_Cert_Options("subject"), key, "SHA-256", rng);
  X509_CertificateProperties properties(certificate);
  properties.set_label("label");
  properties.set_id({1, 2, 3});
  PKCS11_X509_Certificate(*session, properties);
  EXPECT_THAT(Object::search<PKCS11_X509_Certificate>(*session, "label", {1, 2, 3}),
              ElementsAre(certificate));
  EXPECT_THAT(Object::search<PKCS11_X509_Certificate>(*session, "other"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EachToken, TokenTest,
                         testing::Values(Token{"SoftHSM", SOFTHSM}, Token{"teetoken", BUILT_TOKEN}));

}  // namespace
