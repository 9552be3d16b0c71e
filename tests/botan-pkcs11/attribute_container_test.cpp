// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>
#include <botan/p11_x509.h>

#include "fake_token_test.h"

namespace {

class TemplateTest : public FakeTokenTest {
 protected:
  /// The attributes as the fake token writes them.
  std::string text(const AttributeContainer& attributes) {
    ObjectFinder(session, attributes.attributes());
    return spy.take_texts().at(0).substr(std::string("C_FindObjectsInit 7 ").size());
  }
};

TEST_F(TemplateTest, EncodesEachKindOfValueInItsOwnWidth) {
  AttributeContainer a(ObjectClass::PrivateKey);
  a.add_string(AttributeType::Label, "ab");
  a.add_binary(AttributeType::Id, std::vector<uint8_t>{1, 2});
  a.add_binary(AttributeType::Subject, std::vector<uint8_t>{});
  a.add_bool(AttributeType::Token, true);
  a.add_bool(AttributeType::Private, false);
  a.add_numeric(AttributeType::ModulusBits, Ulong{2048});
  a.add_numeric(AttributeType::ValueLen, 102);
  EXPECT_EQ(text(a), "[0=0300000000000000 3=6162 102=0102 101= 1=01 2=00 121=0008000000000000 161=66000000]");
}

TEST_F(TemplateTest, KeepsItsValuesWhenItMovesAndGrows) {
  AttributeContainer first;
  first.add_string(AttributeType::Label, std::string("short"));
  first.add_numeric(AttributeType::ValueLen, uint8_t{9});
  AttributeContainer second(std::move(first));
  for (CK_ULONG i = 0; i < 100; ++i) {
    second.add_string(static_cast<AttributeType>(CKA_VENDOR_DEFINED + i), "x");
  }
  EXPECT_THAT(text(second), testing::StartsWith("[3=73686f7274 161=09 80000000=78 80000001=78 "));
}

TEST_F(TemplateTest, AnAttributeAddedAgainKeepsItsPlaceAndHarmsNoOther) {
  AttributeContainer a(ObjectClass::Data);
  a.add_string(AttributeType::Label, "abc");
  a.add_string(AttributeType::Application, "zz");
  a.add_binary(AttributeType::Id, std::vector<uint8_t>{1});
  a.add_string(AttributeType::Label, "defg");
  a.add_class(ObjectClass::PublicKey);
  a.add_string(AttributeType::Id, "i");
  a.add_binary(AttributeType::Application, std::vector<uint8_t>{});
  EXPECT_EQ(text(a), "[0=0200000000000000 3=64656667 10= 102=69]");
}

TEST_F(TemplateTest, PropertiesBeginWithWhatTheirKindMustHaveAndSettersFollow) {
  const std::vector<uint8_t> params = {5, 6};
  EXPECT_EQ(text(SecretKeyProperties(KeyType::Aes)), "[0=0400000000000000 100=1f00000000000000]");
  EXPECT_EQ(text(EC_PublicKeyImportProperties(params, {4, 1, 0})),
            "[0=0200000000000000 100=0300000000000000 180=0506 181=040100]");
  EXPECT_EQ(text(EC_PrivateKeyImportProperties(params, Botan::BigInt(0x1234))),
            "[0=0300000000000000 100=0300000000000000 180=0506 11=1234]");

  X509_CertificateProperties certificate({0x30, 0}, {0x30, 1});
  certificate.set_category(CertificateCategory::Authority);
  certificate.set_start_date(Date{{'2', '0', '2', '6'}, {'1', '1'}, {'2', '5'}});
  certificate.set_trusted(true);
  EXPECT_EQ(
      text(certificate),
      "[0=0100000000000000 80=0000000000000000 101=3000 11=3001 87=0200000000000000 110=3230323631313235 "
      "86=01]");
  EXPECT_EQ(message_of<Botan::Not_Implemented>(
                [] { PrivateKeyProperties(KeyType::Ec).set_unwrap_template(AttributeContainer()); }),
            "Not implemented PrivateKeyProperties::set_unwrap_template");
}

}  // namespace
