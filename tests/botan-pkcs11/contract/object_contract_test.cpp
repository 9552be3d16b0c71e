// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

#include "contract_test.h"

namespace {

using Type = AttributeType;

class ObjectTest : public UserTest {
 protected:
  bool finds(const Object& object, const Attribute& attribute) {
    return testing::Value(ObjectFinder(session, {attribute}).find(), testing::Contains(object.handle()));
  }

  /// Creates the object: it reads as it was written, and is found by each attribute as it is and by none that
  /// has another value.
  void expect_as_written(const ObjectProperties& properties) {
    const Object object(session, properties);
    for (Attribute attribute : properties.attributes()) {
      const auto* const bytes = static_cast<const uint8_t*>(attribute.pValue);
      Bytes value(bytes, bytes + attribute.ulValueLen);
      SCOPED_TRACE(testing::Message() << "attribute 0x" << std::hex << attribute.type);
      EXPECT_EQ(object.get_attribute_value(static_cast<Type>(attribute.type)), value);
      EXPECT_TRUE(finds(object, attribute));
      value.empty() ? value.push_back('x') : void(value.back() ^= 1);
      attribute.pValue = value.data();
      attribute.ulValueLen = value.size();
      EXPECT_FALSE(finds(object, attribute));
    }
  }
};

ON_TOKENS(ObjectTest, kAllTokens);

TEST_P(ObjectTest, DataIsReadAndFoundAsItWasWrittenAndHasDefaults) {
  auto full = data("label", true), empty = data("");
  full.set_token(true);
  full.set_application("application");
  full.set_object_id({6, 1, 42});
  full.set_modifiable(false);
  full.set_value(Bytes(5000, 0));
  expect_as_written(full);
  empty.set_value({});
  empty.set_application("");
  expect_as_written(empty);
  const Object object(session, DataObjectProperties());
  for (const Type type : {Type::Modifiable, Type::Copyable, Type::Destroyable}) {
    EXPECT_THAT(object.get_attribute_value(type), ElementsAre(1));
  }
  EXPECT_THAT(object.get_attribute_value(Type::Token), ElementsAre(0));
  EXPECT_THAT(object.get_attribute_value(Type::Value), IsEmpty());
}

TEST_P(ObjectTest, CertificatesAndKeysAreReadAndFoundAsTheyWereWritten) {
  const Date date = {{'2', '0', '2', '6'}, {'0', '1'}, {'3', '1'}};
  X509_CertificateProperties certificate({0x30, 0}, {0x30, 1, 2});
  certificate.set_category(CertificateCategory::Authority);
  certificate.set_start_date(date);
  certificate.set_end_date(date);
  certificate.set_serial({2, 1, 9});
  certificate.set_public_key_info({0x30, 0});
  certificate.set_id({});
  certificate.set_trusted(false);
  expect_as_written(certificate);

  auto public_key = public_half(group, group.get_base_point());
  public_key.set_start_date(date);
  public_key.set_verify(false);
  public_key.set_wrap(true);
  expect_as_written(public_key);

  auto private_key = private_half(group, 0x123456);
  private_key.set_subject({});
  private_key.set_id({1, 2, 3});
  private_key.set_sign(false);
  private_key.set_derive(true);
  expect_as_written(private_key);
}

TEST_P(ObjectTest, AreChangedCopiedAndGoneEachByItself) {
  const Object object(session, data("first", true));
  EXPECT_CODE(AttributeTypeInvalid, object.get_attribute_value(Type::EcPoint));
  EXPECT_CODE(AttributeReadOnly, object.set_attribute_value(Type::Class, Bytes(8, 1)));
  object.set_attribute_value(Type::Label, {});
  EXPECT_THAT(object.get_attribute_value(Type::Label), IsEmpty());

  AttributeContainer changed;
  changed.add_string(Type::Label, "second");
  const Object copy(session, object.copy(changed));
  object.destroy();
  EXPECT_CODE(ObjectHandleInvalid, object.destroy());
  EXPECT_CODE(ObjectHandleInvalid, object.copy(changed));
  EXPECT_CODE(ObjectHandleInvalid, object.get_attribute_value(Type::Label));
  EXPECT_CODE(ObjectHandleInvalid, object.set_attribute_value(Type::Label, {}));
  EXPECT_EQ(copy.get_attribute_value(Type::Value), secret("value of first"));
  EXPECT_EQ(copy.get_attribute_value(Type::Label), secret("second"));

  auto fixed = data("fixed");
  fixed.set_modifiable(false);
  fixed.set_copyable(false);
  fixed.set_destroyable(false);
  const Object kept(session, fixed);
  EXPECT_CODE(ActionProhibited, kept.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(ActionProhibited, kept.copy(changed));
  EXPECT_CODE(ActionProhibited, kept.destroy());
}

TEST_P(ObjectTest, AreNotMadeOfFaultyTemplates) {
  X509_CertificateProperties trusted({0x30, 0}, {0x30, 1, 2});
  trusted.set_trusted(true);
  EXPECT_CODE(AttributeReadOnly, Object(session, trusted));
  DataObjectProperties unknown, wide_bool;
  unknown.add_string(static_cast<Type>(CKA_VENDOR_DEFINED | 0x99), "x");
  EXPECT_CODE(AttributeTypeInvalid, Object(session, unknown));
  wide_bool.add_numeric(Type::Private, Ulong{1});
  EXPECT_CODE(AttributeValueInvalid, Object(session, wide_bool));
  AttributeContainer no_class;
  no_class.add_string(Type::Label, "x");
  ObjectHandle none = 0;
  EXPECT_CODE(TemplateIncomplete,
              module->C_CreateObject(session.handle(), no_class.data(), no_class.count(), &none));
}

TEST_P(ObjectTest, NeedTheLoginIfPrivateAndAReadWriteSessionIfPersistent) {
  const Object secret_object(session, data("secret", true));
  auto persistent = data("persistent");
  persistent.set_token(true);
  Session reader(slot, true);
  const Object seen(reader, Object(session, persistent).handle());
  EXPECT_CODE(SessionReadOnly, Object(reader, persistent));
  EXPECT_CODE(SessionReadOnly, seen.set_attribute_value(Type::Label, {}));
  EXPECT_CODE(SessionReadOnly, seen.destroy());
  EXPECT_CODE(OK, Object(reader, data("of the session")));
  EXPECT_EQ(count(ObjectClass::Data), 3U);
  session.logoff();
  EXPECT_CODE(UserNotLoggedIn, Object(session, data("secret", true)));
  EXPECT_CODE(ObjectHandleInvalid, secret_object.get_attribute_value(Type::Label));
  EXPECT_EQ(count(ObjectClass::Data), 2U);
}

TEST_P(ObjectTest, LiveAsLongAsTheirSessionOrForEver) {
  AttributeContainer to_token;
  to_token.add_bool(Type::Token, true);
  {
    Session other(slot, false);
    Object(other, data("source")).copy(to_token);
    EXPECT_EQ(count(ObjectClass::Data), 2U);
  }
  EXPECT_EQ(count(ObjectClass::Data), 1U);
  module.reload();
  Session later(slot, true);
  const auto found = Object::search<Object>(later, to_token.attributes());
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].get_attribute_value(Type::Value), secret("value of source"));
}

}  // namespace
