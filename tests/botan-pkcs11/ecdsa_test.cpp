// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/pk_ops.h>

#include "fake_token_test.h"

namespace {

using Strings = std::vector<std::string>;
using Lengths = std::vector<size_t>;

/// A token with one key pair, whose public point is the curve's base point.
class EcdsaTest : public FakeTokenTest {
 protected:
  EcdsaTest() { token.values = {{CKA_EC_PARAMS, params}, {CKA_EC_POINT, octet_string(point)}}; }

  template <typename Operation>
  static void update(Operation& operation, const Lengths& pieces) {
    for (const size_t length : pieces) {
      operation->update(std::vector<uint8_t>(length).data(), length);
    }
  }

  const Botan::EC_Group group{"secp256r1"};
  const std::vector<uint8_t> params = group.DER_encode(Botan::EC_DOMPAR_ENC_OID);
  const std::vector<uint8_t> point = group.get_base_point().encode(Botan::PointGFp::UNCOMPRESSED);
  Botan::AutoSeeded_RNG rng;
};

TEST_F(EcdsaTest, GeneratesFromTheTemplatesAsTheyAreAndReadsBothKeys) {
  EC_PublicKeyGenerationProperties public_props(params);
  public_props.set_token(true);
  const auto pair = generate_ecdsa_keypair(session, public_props, EC_PrivateKeyGenerationProperties());
  EXPECT_EQ(pair.first.public_point(), group.get_base_point());
  EXPECT_EQ(message_of<Botan::Invalid_State>([&] { pair.second.public_key_bits(); }),
            "Public point not set. Inferring the public key from a PKCS#11 ec private key is not possible.");
  const Strings calls = spy.take_texts();
  EXPECT_EQ(
      calls.at(0),
      "C_GenerateKeyPair 7 1040 [0=0200000000000000 100=0300000000000000 180=06082a8648ce3d030107 1=01] "
      "[0=0300000000000000 100=0300000000000000]");
  EXPECT_THAT(
      Strings(calls.begin() + 1, calls.end()),
      testing::UnorderedElementsAre("C_GetAttributeValue 7 31 [180=]", "C_GetAttributeValue 7 31 [180=]",
                                    "C_GetAttributeValue 7 31 [181=]", "C_GetAttributeValue 7 31 [181=]",
                                    "C_GetAttributeValue 7 32 [180=]", "C_GetAttributeValue 7 32 [180=]"));
}

TEST_F(EcdsaTest, APrivateKeyThatIsGeneratedAloneKnowsItsPoint) {
  const PKCS11_ECDSA_PrivateKey key(session, params, EC_PrivateKeyGenerationProperties());
  EXPECT_EQ(key.handle(), 32U);
  EXPECT_EQ(key.public_point(), group.get_base_point());
  const Strings calls = spy.take_texts();
  EXPECT_EQ(
      calls.at(0),
      "C_GenerateKeyPair 7 1040 [0=0200000000000000 100=0300000000000000 180=06082a8648ce3d030107 10a=01 "
      "2=00 1=00] [0=0300000000000000 100=0300000000000000]");
}

TEST_F(EcdsaTest, AcceptsEveryFormOfAPointButNothingElse) {
  for (const auto form :
       {Botan::PointGFp::UNCOMPRESSED, Botan::PointGFp::COMPRESSED, Botan::PointGFp::HYBRID}) {
    token.values[CKA_EC_POINT] = octet_string(group.get_base_point().encode(form));
    EXPECT_EQ(PKCS11_ECDSA_PublicKey(session, 31).public_point(), group.get_base_point());
  }
  auto fits_as_octet_string = point, begins_with_empty_octet_string = point, off_curve = point;
  fits_as_octet_string[1] = 63;  // tag 4, the length of the rest
  begins_with_empty_octet_string[1] = 0;
  off_curve.back() ^= 1;
  auto trailing = octet_string(point), truncated = trailing;
  trailing.push_back(0);
  truncated.pop_back();
  const std::vector<uint8_t> nothing, infinity(1);
  for (const auto& bytes :
       {point, fits_as_octet_string, begins_with_empty_octet_string, octet_string(off_curve), trailing,
        truncated, nothing, octet_string(nothing), octet_string(infinity)}) {
    token.values[CKA_EC_POINT] = bytes;
    EXPECT_THROW(PKCS11_ECDSA_PublicKey(session, 31), Botan::Invalid_Argument)
        << testing::PrintToString(bytes);
  }
}

TEST_F(EcdsaTest, EncodingsDecideTheSubjectPublicKeyInfoOfBothKeys) {
  Botan::ECDSA_PublicKey software(group, group.get_base_point());
  PKCS11_ECDSA_PublicKey public_key(session, 31);
  PKCS11_ECDSA_PrivateKey private_key(session, 32);
  private_key.set_public_point(group.get_base_point());

  software.set_parameter_encoding(Botan::EC_DOMPAR_ENC_EXPLICIT);
  EXPECT_EQ(public_key.subject_public_key(), software.subject_public_key());
  software.set_point_encoding(Botan::PointGFp::COMPRESSED);
  EXPECT_EQ(private_key.subject_public_key(), software.subject_public_key());

  software.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  software.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  private_key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  private_key.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  EXPECT_EQ(private_key.subject_public_key(), software.subject_public_key());
  EXPECT_EQ(public_key.export_key().subject_public_key(), software.subject_public_key());
}

TEST_F(EcdsaTest, TheNameOfTheEncodingDecidesTheMechanism) {
  const PKCS11_ECDSA_PrivateKey key(session, 32);
  const auto mechanism_for = [&](const std::string& emsa) {
    spy.take_texts();
    key.create_signature_op(rng, emsa, "")->update(nullptr, 0);
    return spy.take_texts().at(0);
  };
  EXPECT_EQ(mechanism_for("Raw"), "C_SignInit 7 1041 32");
  EXPECT_EQ(mechanism_for("EMSA1(SHA-160)"), "C_SignInit 7 1042 32");
  EXPECT_EQ(mechanism_for("EMSA1(SHA-224)"), "C_SignInit 7 1043 32");
  EXPECT_EQ(mechanism_for("Raw(SHA-256)"), "C_SignInit 7 1044 32");
  EXPECT_EQ(mechanism_for("EMSA1(SHA-384)"), "C_SignInit 7 1045 32");
  EXPECT_EQ(mechanism_for("EMSA1"), "C_SignInit 7 1046 32");
  EXPECT_EQ(message_of<Botan::Lookup_Error>([&] { key.create_signature_op(rng, "EMSA1(SHA-1)", ""); }),
            "PKCS#11 ECDSA sign/verify does not support EMSA1(SHA-1)");
  EXPECT_THROW(key.create_signature_op(rng, "", ""), Botan::Invalid_Argument);
  EXPECT_THAT(spy.take_texts(), IsEmpty());
}

class SignatureTest : public EcdsaTest {
 protected:
  SignatureTest() { spy.take_texts(); }

  const PKCS11_ECDSA_PrivateKey key{session, 32};
  std::unique_ptr<Botan::PK_Ops::Signature> operation = key.create_signature_op(rng, "EMSA1(SHA-256)", "");
  const std::string init = "C_SignInit 7 1044 32";
};

TEST_F(SignatureTest, OnePieceIsASinglePartCallAndMorePiecesAreAMultiPartOperation) {
  const std::pair<Lengths, Strings> cases[] = {
      {{3}, {init, "C_Sign 7 3", "C_Sign 7 3"}},
      {{0}, {init, "C_Sign 7 0", "C_Sign 7 0"}},
      {{1, 2, 0},
       {init, "C_SignUpdate 7 1", "C_SignUpdate 7 2", "C_SignUpdate 7 0", "C_SignFinal 7", "C_SignFinal 7"}},
      {{0, 2}, {init, "C_SignUpdate 7 2", "C_SignFinal 7", "C_SignFinal 7"}},
      {{}, {"C_SignFinal 7", "C_SignFinal 7"}},
  };
  for (const auto& c : cases) {
    update(operation, c.first);
    EXPECT_EQ(operation->sign(rng), Botan::secure_vector<uint8_t>(64, 's'));
    EXPECT_EQ(spy.take_texts(), c.second);
  }
}

TEST_F(SignatureTest, AFailureLeavesNothingBegunAndTheNextMessageStartsAfresh) {
  spy.answer("C_SignInit", CKR_KEY_HANDLE_INVALID);
  EXPECT_EQ(error_of([&] { update(operation, {1}); }), ReturnValue::KeyHandleInvalid);
  spy.stop_interfering();
  spy.answer("C_SignUpdate", CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_EQ(error_of([&] { update(operation, {2, 2}); }), ReturnValue::OperationNotInitialized);
  spy.answer("C_Sign", CKR_DEVICE_ERROR);
  update(operation, {3});
  EXPECT_EQ(error_of([&] { operation->sign(rng); }), ReturnValue::DeviceError);
  spy.stop_interfering();
  update(operation, {4});
  operation->sign(rng);
  EXPECT_THAT(spy.take_texts(), ElementsAre(init, init, "C_SignUpdate 7 2", "C_Sign 7 2",  //
                                            init, "C_Sign 7 3", "C_Sign 7 3",  // the second ends it
                                            init, "C_Sign 7 4", "C_Sign 7 4"));
}

TEST_F(SignatureTest, AnOperationThatIsDroppedIsEndedOnTheToken) {
  update(operation, {1});
  operation = key.create_signature_op(rng, "EMSA1(SHA-256)", "");
  update(operation, {2, 3});
  operation.reset();
  EXPECT_THAT(spy.take_texts(),
              ElementsAre(init, "C_Sign 7 1", init, "C_SignUpdate 7 2", "C_SignUpdate 7 3", "C_SignFinal 7"));
}

TEST_F(EcdsaTest, OnlyAWrongSignatureIsFalseAndOtherCodesAreThrown) {
  const PKCS11_ECDSA_PublicKey key(session, 31);
  auto operation = key.create_verification_op("EMSA1(SHA-256)", "");
  const auto verify = [&](const Lengths& pieces) {
    update(operation, pieces);
    return operation->is_valid_signature(params.data(), 9);
  };
  spy.take_texts();
  EXPECT_TRUE(verify({1}));
  spy.answer("C_Verify", CKR_SIGNATURE_INVALID);
  spy.answer("C_VerifyFinal", CKR_SIGNATURE_LEN_RANGE);
  EXPECT_FALSE(verify({2}));
  EXPECT_EQ(error_of([&] { verify({3, 4}); }), ReturnValue::SignatureLenRange);
  update(operation, {5});
  operation.reset();
  const std::string init = "C_VerifyInit 7 1044 31";
  EXPECT_THAT(spy.take_texts(), ElementsAre(init, "C_Verify 7 1 9", init, "C_Verify 7 2 9", init,
                                            "C_VerifyUpdate 7 3", "C_VerifyUpdate 7 4", "C_VerifyFinal 7 9",
                                            "C_VerifyFinal 7 64", init, "C_Verify 7 5 64"));
}

}  // namespace
