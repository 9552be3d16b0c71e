// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/ecdsa.h>
#include <botan/p11_trust_store_group.h>
#include <botan/x509self.h>

#include <numeric>

#include "fake_token_test.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes make_certificate(const std::string& name) {
  Botan::AutoSeeded_RNG rng;
  const Botan::ECDSA_PrivateKey key(rng, Botan::EC_Group("secp256r1"));
  return Botan::X509::create_self_signed_cert(Botan::X509_Cert_Options(name), key, "SHA-256", rng)
      .BER_encode();
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

using ClientCertificateChainTest = FakeTokenTest;

TEST_F(ClientCertificateChainTest, CreatesTheChainFromExactlyItsAttributes) {
  TrustStoreGroupCertificateChainProperties properties({0x30, 0x00});
  properties.add_string(static_cast<AttributeType>(0x80001002), "LYR");
  properties.set_label("10_102");
  properties.add_numeric(AttributeType::Id, 102);
  const PKCS11_TSG_CertficateChain chain(session, properties);
  EXPECT_EQ(chain.attributes().size(), 6U);
  EXPECT_THAT(spy.take_texts(),
              ElementsAre("C_CreateObject 7 [0=0100000000000000 80=0110008000000000 11=3000 "
                          "80001002=4c5952 3=0a66000000 102=66000000]"));
}

TEST_F(ClientCertificateChainTest, ALabelIsAGroupAndAnIndexInDecimal) {
  const auto encode = [&](const std::string& text) {
    TrustStoreGroupCertificateChainProperties properties({});
    properties.set_label(text);
    const auto* bytes = static_cast<const uint8_t*>(properties.attributes().back().pValue);
    return Bytes(bytes, bytes + properties.attributes().back().ulValueLen);
  };
  EXPECT_THAT(encode("2_16909060"), ElementsAre(2, 4, 3, 2, 1));
  EXPECT_THAT(encode("255_4294967295"), ElementsAre(255, 255, 255, 255, 255));
  for (const std::string bad :
       {"", "_", "10", "10_", "_102", "10_x", "x_1", "1_2_3", "1_2 ", "-1_2", "256_1", "1_4294967296"}) {
    EXPECT_EQ(message_of<Botan::Invalid_Argument>([&] { encode(bad); }),
              "'" + bad + "' is not a label: expected GROUP_INDEX, as in 10_102");
  }
}

TEST_F(ClientCertificateChainTest, ReadsTheCertificatesThatTheTokenHasNowInTheirOrder) {
  const PKCS11_TSG_CertficateChain chain(session, 21);
  const auto leaf = make_certificate("leaf"), root = make_certificate("root");
  for (const auto& certificates :
       std::vector<std::vector<Bytes>>{{}, {leaf, root}, {leaf, root}, {root}, {}}) {
    token.values[CKA_VALUE] = std::accumulate(certificates.begin(), certificates.end(), Bytes(), operator+);
    std::vector<Bytes> read;
    for (const auto& certificate : chain.getx509CertificateChain()) {
      read.push_back(certificate.BER_encode());
    }
    EXPECT_EQ(read, certificates);
  }
  token.values.clear();
  EXPECT_EQ(error_of([&] { chain.getx509CertificateChain(); }), ReturnValue::AttributeTypeInvalid);
}

TEST_F(ClientCertificateChainTest, RefusesAChainWithAnythingButCertificates) {
  const PKCS11_TSG_CertficateChain chain(session, 21);
  const auto certificate = make_certificate("leaf");
  const std::string pem = Botan::X509_Certificate(certificate).PEM_encode();
  const Bytes truncated(certificate.begin(), certificate.end() - 1);
  for (const Bytes& garbage : {{0}, {0, 0}, {0xFF}, {0x30, 0x00}, truncated, Bytes(pem.begin(), pem.end())}) {
    for (const Bytes& value : {garbage, certificate + garbage}) {
      token.values[CKA_VALUE] = value;
      EXPECT_THROW(chain.getx509CertificateChain(), Botan::Decoding_Error) << testing::PrintToString(value);
    }
  }
}

TEST_F(ClientCertificateChainTest, InstallationPassesTheHandlesAndReturnsTheTokensCode) {
  EXPECT_EQ(setClientCertAndMoveKey(session, {1, 2, 3}, {4, 5}), 0U);
  spy.answer("set_client_cert_and_move_key", CKR_KEY_HANDLE_INVALID);
  EXPECT_EQ(setClientCertAndMoveKey(session, {}, {4}), 0x60U);
  EXPECT_THAT(spy.take_texts(),
              ElementsAre("C_GetInterface", "set_client_cert_and_move_key 7 [ 1 2 3 ] [ 4 5 ]",
                          "C_GetInterface", "set_client_cert_and_move_key 7 [ ] [ 4 ]"));
  spy.answer("C_GetInterface", CKR_FUNCTION_FAILED);
  EXPECT_EQ(setClientCertAndMoveKey(session, {}, {4}), 0x54U);
}

}  // namespace
