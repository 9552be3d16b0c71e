// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>
#include <botan/p11_x509.h>

#include "fake_token_test.h"

namespace {

using ObjectTest = FakeTokenTest;

struct Labelled : Object {
  static const ObjectClass Class = ObjectClass::Data;
  Labelled(Session& s, ObjectHandle h) : Object(s, h), label(get_attribute_value(AttributeType::Label)) {}
  Botan::secure_vector<uint8_t> label;
};

TEST_F(ObjectTest, SearchReadsWhileItIsActiveAndEndsAlsoWhenReadingFails) {
  token.found = {11, 12};
  token.values[CKA_LABEL] = {'x'};
  const auto found = Object::search<Labelled>(session, "x", {1, 2});
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[1].handle(), 12U);
  EXPECT_THAT(found[1].label, ElementsAre('x'));
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_FindObjectsInit 7 [0=0000000000000000 3=78 102=0102]",
                                            "C_FindObjects 7 100", "C_GetAttributeValue 7 11 [3=]",
                                            "C_GetAttributeValue 7 11 [3=]", "C_GetAttributeValue 7 12 [3=]",
                                            "C_GetAttributeValue 7 12 [3=]", "C_FindObjectsFinal 7"));
  token.values.clear();
  EXPECT_EQ(error_of([&] { Object::search<Labelled>(session); }), ReturnValue::AttributeTypeInvalid);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_FindObjectsInit 7 [0=0000000000000000]", "C_FindObjects 7 100",
                                            "C_GetAttributeValue 7 11 [3=]", "C_FindObjectsFinal 7"));
}

TEST_F(ObjectTest, FinderEndsItsSearchOnceUnlessItNeverBegan) {
  { ObjectFinder(session, {}).finish(); }
  {
    const ObjectFinder finder(session, {});
    { const ObjectFinder copy(finder); }
    EXPECT_EQ(spy.take_texts().back(), "C_FindObjectsInit 7 []") << "the search goes on";
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_FindObjectsFinal 7"));
  spy.answer("C_FindObjectsInit", CKR_OPERATION_ACTIVE);
  EXPECT_EQ(error_of([&] { ObjectFinder(session, {}); }), ReturnValue::OperationActive);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_FindObjectsInit 7 []"));
}

TEST_F(ObjectTest, ACertificateIsCreatedBeforeItIsParsedAndReadByItsValueAlone) {
  const std::vector<uint8_t> name = {0x30, 0}, garbage = {0x30, 1};
  EXPECT_THROW(PKCS11_X509_Certificate(session, X509_CertificateProperties(name, garbage)),
               Botan::Decoding_Error);
  token.values[CKA_VALUE] = garbage;
  EXPECT_THROW(PKCS11_X509_Certificate(session, 21), Botan::Decoding_Error);
  EXPECT_THAT(spy.take_texts(),
              ElementsAre("C_CreateObject 7 [0=0100000000000000 80=0000000000000000 101=3000 11=3001]",
                          "C_GetAttributeValue 7 21 [11=]", "C_GetAttributeValue 7 21 [11=]"));
}

}  // namespace
