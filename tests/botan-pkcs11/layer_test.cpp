// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <botan/pubkey.h>
#include <botan/x509self.h>
#include <tee_token/vendor_interface.h>

#include "layer_test.h"

static_assert(BOTAN_HAS_PKCS11 == 20160219 && BOTAN_HAS_DYNAMIC_LOADER == 20160310, "as Botan has them");

namespace {

using Botan::PointGFp;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes octet_string(const Bytes& content) { return Bytes{4, static_cast<uint8_t>(content.size())} + content; }

class LayerTest : public SpiedTest {
 protected:
  /// The attributes as the token receives them.
  std::string text(const AttributeContainer& attributes) {
    code_of([&] { ObjectFinder(session, attributes.attributes()); });
    const std::string call = spy.take_texts().at(0);
    return call.substr(call.find('['));
  }

  const Botan::EC_Group group{"secp256r1"};
  const PointGFp base = group.get_base_point();
};

TEST_F(LayerTest, TemplatesKeepEachValueInItsOwnWidthAndPlaceWhenTheyGrowMoveAndChange) {
  AttributeContainer first(ObjectClass::Data);
  std::string label = "ab";
  first.add_string(AttributeType::Label, label);
  label[0] = 'x';
  first.add_binary(AttributeType::Id, Bytes{1, 2});
  first.add_binary(AttributeType::Subject, Bytes{});
  first.add_bool(AttributeType::Token, true);
  first.add_numeric(AttributeType::ModulusBits, Ulong{2048});
  first.add_numeric(AttributeType::ValueLen, 102);
  AttributeContainer second(std::move(first));
  for (Ulong i = 0; i < 99; ++i) second.add_string(static_cast<AttributeType>(0x80000000 + i), "x");
  second.add_string(AttributeType::Id, "longer");
  EXPECT_THAT(text(second),
              testing::StartsWith("[0=0000000000000000 3=6162 102=6c6f6e676572 101= 1=01 "
                                  "121=0008000000000000 161=66000000 80000000=78 80000001=78 "));
}

TEST_F(LayerTest, GeneratedKeysHaveTheirPointAndAreFoundByLabelAndId) {
  const PKCS11_ECDSA_PrivateKey alone(session, params(group), EC_PrivateKeyGenerationProperties());
  EXPECT_THAT(spy.take_texts().at(0), testing::HasSubstr(" 10a=01 2=00 1=00] ["))
      << "a public half to delete";
  using Key = PKCS11_ECDSA_PublicKey;
  const Key found = Object::search<Key>(session).back();
  EXPECT_EQ(found.public_point(), alone.public_point());
  found.set_attribute_value(AttributeType::Label, {'a'});
  found.set_attribute_value(AttributeType::Id, {1});
  EXPECT_THAT(Object::search<Key>(session, "a", Bytes{1}), testing::SizeIs(1));
  EXPECT_THAT(Object::search<Key>(session, "b", Bytes{1}), testing::IsEmpty());
  EXPECT_THAT(Object::search<Key>(session, "a", Bytes{2}), testing::IsEmpty());
  EXPECT_EQ(alone.public_key_bits().size(), 33U) << "compressed unless set otherwise";
}

TEST_F(LayerTest, PointsAreAcceptedInEachFormAndNothingElse) {
  spy.answer("C_CreateObject", CKR_OK);  // whatever the token thinks of the point
  const auto read = [&](const Bytes& ec_point) {
    return PKCS11_ECDSA_PublicKey(session, EC_PublicKeyImportProperties(params(group), ec_point))
        .public_point();
  };
  for (const auto form : {PointGFp::UNCOMPRESSED, PointGFp::COMPRESSED, PointGFp::HYBRID}) {
    EXPECT_EQ(read(octet_string(base.encode(form))), base);
  }
  const Bytes point = base.encode(PointGFp::UNCOMPRESSED);
  Bytes fits_as_octet_string = point, off_curve = octet_string(point);
  fits_as_octet_string[1] = 63;  // tag 4, the length of the rest
  off_curve.back() ^= 1;
  for (const Bytes& bad : {point, fits_as_octet_string, off_curve, octet_string(point) + Bytes(1), Bytes(),
                           octet_string(Bytes()), octet_string(Bytes(1))}) {
    EXPECT_THROW(read(bad), Botan::Invalid_Argument) << testing::PrintToString(bad);
  }
}

TEST_F(LayerTest, LabelsAreAGroupAndAnIndex) {
  EXPECT_THAT(encode_label("255_4278387201"), ElementsAre(255, 1, 2, 3, 255));
  for (const std::string bad :
       {"", "_", "10", "10_", "_102", "10_x", "1_2_3", "1_2 ", "-1_2", "256_1", "1_4294967296"}) {
    EXPECT_EQ(message_of<Botan::Invalid_Argument>([&] { encode_label(bad); }),
              "'" + bad + "' is not a label: expected GROUP_INDEX, as in 10_102");
  }
}

TEST_F(LayerTest, ChainsAreReadInOrderAndRefusedIfAnythingElseIsInThem) {
  Botan::AutoSeeded_RNG rng;
  const auto certificate = [&](const std::string& name) {
    const Botan::ECDSA_PrivateKey key(rng, group);
    return Botan::X509::create_self_signed_cert(Botan::X509_Cert_Options(name), key, "SHA-256", rng);
  };
  const auto leaf = certificate("leaf"), root = certificate("root");
  const Bytes der = leaf.BER_encode();
  const auto read = [&](const Bytes& value) {
    const Object made(session, TrustStoreGroupCertificateChainProperties(value));
    return PKCS11_TSG_CertficateChain(session, made.handle()).getx509CertificateChain();
  };
  EXPECT_THAT(read(der + root.BER_encode()), ElementsAre(leaf, root));
  EXPECT_THAT(read({}), testing::IsEmpty());
  for (const Bytes& garbage : {Bytes{0}, Bytes{0xFF}, Bytes{0x30, 0x00}, Bytes(der.begin(), der.end() - 1)}) {
    EXPECT_THROW(read(der + garbage), Botan::Decoding_Error) << testing::PrintToString(garbage);
  }
}

TEST_F(LayerTest, ATokensCodeIsThrownReturnedOrDroppedAsTheLastArgumentSays) {
  ReturnValue code = ReturnValue::OK;
  EXPECT_CODE(CKR_SESSION_HANDLE_INVALID, module->C_Logout(0));
  EXPECT_FALSE(module->C_Logout(0, nullptr));
  EXPECT_FALSE(module->C_Logout(0, &code));
  EXPECT_EQ(code, ReturnValue::SessionHandleInvalid);
}

TEST_F(LayerTest, AValueThatShrinksBetweenTheTwoCallsIsReadWhole) {
  CK_FUNCTION_LIST functions = {};
  functions.C_GetAttributeValue = [](CK_ULONG, CK_ULONG, CK_ATTRIBUTE* attribute, CK_ULONG) -> CK_RV {
    return attribute->ulValueLen = attribute->pValue == nullptr ? 2 : 1, CKR_OK;
  };
  const LowLevel shrinking(&functions);
  std::map<AttributeType, Bytes> values = {{AttributeType::Label, {}}};
  EXPECT_TRUE(shrinking.C_GetAttributeValue(0, 0, values));
  EXPECT_EQ(values[AttributeType::Label].size(), 1U);
  EXPECT_CODE(CKR_FUNCTION_NOT_SUPPORTED, shrinking.C_Logout(0)) << "it is not in the list";
}

TEST_F(LayerTest, ASignatureThatFailsOrIsDroppedIsEndedOnTheToken) {
  Botan::AutoSeeded_RNG rng;
  const auto pair = generate_ecdsa_keypair(session, params(group), {});
  Botan::PK_Signer signer(pair.second, rng, "EMSA1(SHA-256)");
  for (const std::string function : {"C_SignUpdate", "C_SignFinal"}) {
    spy.answer(function, CKR_DEVICE_ERROR, 1);
    EXPECT_CODE(CKR_DEVICE_ERROR, signer.update("one"); signer.update("two"); signer.signature(rng));
    EXPECT_CODE(CKR_OK, ObjectFinder(session, {})) << function;
  }
  Botan::PK_Signer(pair.second, rng, "EMSA1(SHA-256)").update("dropped");
  Botan::PK_Verifier(pair.first, "EMSA1(SHA-256)").update("dropped");
  EXPECT_CODE(CKR_OK, ObjectFinder(session, {}));
}

TEST_F(LayerTest, ATrustStoreWhoseGroupWasDeletedMeanwhileIsAnError) {
  session.logoff();
  session.login(UserType::SO, so_pin);
  ObjectProperties stored(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  stored.add_string(AttributeType::Label, "group");
  stored.add_string(static_cast<AttributeType>(TEE_CKA_VENDOR_CLIENT_ID), "CCI");
  const Object created(session, stored);
  PKCS11_TrustStoreGroup_Store store(session, "group", "CCI");
  created.destroy();
  EXPECT_THROW(store.GetRootCertBundle(session), Botan::Lookup_Error);
}

}  // namespace
