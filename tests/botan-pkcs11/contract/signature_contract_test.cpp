// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pkcs10.h>
#include <botan/x509self.h>

#include "contract_test.h"

namespace {

using Pieces = std::vector<std::string>;

class SignatureTest : public UserTest {
 protected:
  static bool verifies(Botan::PK_Verifier& verifier, const Pieces& pieces,
                       const std::vector<uint8_t>& signature) {
    for (const auto& piece : pieces) {
      verifier.update(piece);
    }
    return verifier.check_signature(signature);
  }

  std::vector<uint8_t> sign_digest(const PKCS11_ECDSA_PrivateKey& key) {
    return Botan::PK_Signer(key, rng, "Raw").sign_message(digest, rng);
  }

  Botan::PKCS10_Request request(PKCS11_ECDSA_PrivateKey& key) {
    key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
    key.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
    return Botan::X509::create_cert_req(Botan::X509_Cert_Options("device"), key, "SHA-256", rng);
  }

  Bytes digest = rng.random_vec(32);
};

ON_TOKENS(SignatureTest, kAllTokens);

TEST_P(SignatureTest, OfADigestVerifyOnEachCurveInBothForms) {
  for (const std::string curve : kCurves) {
    const auto pair = generate(curve);
    for (const auto form : {Botan::IEEE_1363, Botan::DER_SEQUENCE}) {
      for (const size_t length : {1U, 32U, 100U}) {
        const auto any = rng.random_vec(length);
        const auto signature = Botan::PK_Signer(pair.second, rng, "Raw", form).sign_message(any, rng);
        EXPECT_TRUE(Botan::PK_Verifier(pair.first.export_key(), "Raw", form).verify_message(any, signature));
        EXPECT_TRUE(Botan::PK_Verifier(pair.first, "Raw", form).verify_message(any, signature));
      }
    }
  }
}

TEST_P(SignatureTest, ThatAreWrongAreFalseAndThatHaveAWrongLengthAreAnError) {
  const auto pair = generate();
  Botan::PK_Verifier verifier(pair.first, "Raw");
  const auto right = sign_digest(pair.second);
  auto wrong_r = right, wrong_s = right;
  wrong_r[0] ^= 1;
  wrong_s[63] ^= 1;
  for (const auto& wrong : {wrong_r, wrong_s, sign_digest(generate().second), std::vector<uint8_t>(64)}) {
    EXPECT_FALSE(verifier.verify_message(digest, wrong));
  }
  for (const size_t length : {1U, 63U, 65U, 96U}) {
    EXPECT_CODE(SignatureLenRange, verifier.verify_message(digest, std::vector<uint8_t>(length, 1)));
  }
  EXPECT_TRUE(verifier.verify_message(digest, right)) << "after all of these";
  digest[0] ^= 1;
  EXPECT_FALSE(verifier.verify_message(digest, right));
}

TEST_P(SignatureTest, ThatFailOrAreDroppedDoNotBlockTheSession) {
  const auto pair = generate();
  {
    Botan::PK_Signer signer(pair.second, rng, "Raw");
    error_of([&] { signer.sign_message(nullptr, 0, rng); });  // an answer that tokens differ in
    signer.update("one piece");
    EXPECT_THROW(signer.update("too many"), PKCS11_ReturnError);
    EXPECT_EQ(signer.sign_message(digest, rng).size(), 64U);
    signer.update("dropped");
    EXPECT_CODE(OperationActive, ObjectFinder(session, {}));
  }
  Botan::PK_Verifier(pair.first, "Raw").update("dropped");
  for (const std::string hash : {"SHA-160", "SHA-224", "SHA-256", "SHA-384", "SHA-512"}) {
    if (GetParam().hashes.count(hash) == 0) {
      EXPECT_CODE(MechanismInvalid, Botan::PK_Signer(pair.second, rng, "EMSA1(" + hash + ")").update("x"));
      EXPECT_CODE(MechanismInvalid, Botan::PK_Verifier(pair.first, "EMSA1(" + hash + ")").update("x"));
    }
  }
  EXPECT_EQ(count(ObjectClass::PrivateKey), 1U);
}

TEST_P(SignatureTest, HaveTheirFullWidthAlsoWhereROrSIsShort) {
  const auto pair = generate();
  Botan::PK_Signer signer(pair.second, rng, "Raw");
  Botan::PK_Verifier software(pair.first.export_key(), "Raw"), on_token(pair.first, "Raw");
  int short_ones = 0;
  for (int i = 0; i < 3000; ++i) {
    std::copy_n(reinterpret_cast<const uint8_t*>(&i), sizeof i, digest.begin());
    const auto signature = signer.sign_message(digest, rng);
    ASSERT_EQ(signature.size(), 64U);
    ASSERT_TRUE(software.verify_message(digest, signature));
    if (signature[0] == 0 || signature[32] == 0) {
      ++short_ones;
      EXPECT_TRUE(on_token.verify_message(digest, signature));
    }
  }
  EXPECT_GT(short_ones, 2) << "23 are to be expected";
}

using MessageTest = SignatureTest;
ON_TOKENS(MessageTest, tokens_with(&Token::signs_messages));

TEST_P(MessageTest, AreHashedByTheTokenInAnyPiecesAndUnderEachName) {
  const std::pair<std::string, std::string> names[] = {
      {"EMSA1(SHA-256)", "EMSA1(SHA-256)"}, {"EMSA1(SHA-384)", "EMSA1(SHA-384)"},
      {"EMSA1(SHA-512)", "EMSA1(SHA-512)"}, {"Raw(SHA-256)", "EMSA1(SHA-256)"},
      {"EMSA3(SHA-256)", "EMSA1(SHA-256)"}, {"EMSA1", "EMSA1(SHA-512)"},
      {"SHA-256", "EMSA1(SHA-512)"}};
  const Pieces messages[] = {{"one"}, {""}, {"one", "two", ""}, {"", "two"}, {std::string(100000, 'x')}};
  for (const std::string curve : kCurves) {
    const auto pair = generate(curve);
    for (const auto& name : names) {
      SCOPED_TRACE(curve + ' ' + name.first);
      Botan::PK_Signer signer(pair.second, rng, name.first);
      Botan::PK_Verifier on_token(pair.first, name.first), software(pair.first.export_key(), name.second);
      for (const auto& pieces : messages) {
        for (const auto& piece : pieces) {
          signer.update(piece);
        }
        auto signature = signer.signature(rng);
        EXPECT_TRUE(verifies(software, pieces, signature));
        EXPECT_TRUE(verifies(on_token, pieces, signature));
        signature.back() ^= 1;
        EXPECT_FALSE(verifies(on_token, pieces, signature));
      }
    }
  }
}

TEST_P(MessageTest, AreSignedAfterFailuresToo) {
  auto pair = generate();
  Botan::PK_Signer signer(pair.second, rng, "EMSA1(SHA-256)");
  {
    const ObjectFinder busy(session, {});
    EXPECT_CODE(OperationActive, signer.update("message"));
  }
  signer.update("begun");
  module->C_SignFinal(session.handle(), digest);  // and ended by another
  EXPECT_CODE(OperationNotInitialized, signer.signature(rng));
  Botan::PK_Verifier verifier(pair.first.export_key(), "EMSA1(SHA-256)");
  EXPECT_TRUE(verifier.verify_message(pin, signer.sign_message(pin, rng)));
  EXPECT_TRUE(pair.second.check_key(rng, true));
  pair.second.set_public_point(group.get_base_point());
  EXPECT_FALSE(pair.second.check_key(rng, true)) << "of another key's point";
}

TEST_P(MessageTest, OfRequestsAreSignedSoThatOpensslVerifiesThem) {
  for (const std::string curve : kCurves) {
    auto pair = generate(curve);
    const auto made = request(pair.second);
    EXPECT_EQ(made.raw_public_key(), pair.first.export_key().subject_public_key());
    std::ofstream(folder.path() / "request.pem") << made.PEM_encode();
    const std::string in_folder = "cd " + folder.path().string() + " && ";
    EXPECT_EQ(
        std::system(
            (in_folder + "openssl req -verify -noout -in request.pem 2>&1 | grep -q 'verify OK'").c_str()),
        0);
  }
}

using RequestTest = SignatureTest;
ON_TOKENS(RequestTest, tokens_with(&Token::signs_digests_only));

TEST_P(RequestTest, IsRefusedByTheMechanismThatTheTokenLacks) {
  auto pair = generate();
  EXPECT_EQ(message_of<PKCS11_ReturnError>([&] { request(pair.second); }), "PKCS11 error 112");
  EXPECT_EQ(sign_digest(pair.second).size(), 64U) << "the session is free";
}

}  // namespace
