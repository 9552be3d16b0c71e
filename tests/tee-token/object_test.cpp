// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

Template data(const std::string& value, bool is_private = false) {
  return Class(CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, is_private).text(CKA_VALUE, value);
}

Template certificate() {
  return Class(CKO_CERTIFICATE)
      .number(CKA_CERTIFICATE_TYPE, CKC_X_509)
      .text(CKA_SUBJECT, "DN")
      .text(CKA_VALUE, "DER");
}

Template private_key(const Value& scalar) {
  return Class(CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_EC).add(CKA_EC_PARAMS, kP256).add(CKA_VALUE, scalar);
}

using ObjectTest = TokenTest;

TEST_F(ObjectTest, PrivateOnesAreThereForTheLoggedInUserAlone) {
  EXPECT_EQ(create(data("secret", true)), answer(CKR_USER_NOT_LOGGED_IN));
  ASSERT_EQ(login(), OK);
  CK_OBJECT_HANDLE hidden = 0, open_one = 0;
  ASSERT_EQ(create(data("secret", true), &hidden), OK);
  ASSERT_EQ(create(data("open"), &open_one), OK);
  EXPECT_THAT(find(), testing::ElementsAre(hidden, open_one));
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_THAT(find(), testing::ElementsAre(open_one));
  EXPECT_THAT(find(Template().flag(CKA_PRIVATE, true)), testing::IsEmpty());
  Value value;
  EXPECT_EQ(read(hidden, CKA_VALUE, value), answer(CKR_OBJECT_HANDLE_INVALID));
  EXPECT_EQ(destroy(hidden), answer(CKR_OBJECT_HANDLE_INVALID));
  ASSERT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_THAT(find(), testing::ElementsAre(open_one));
}

TEST_F(ObjectTest, AKeyValueIsGivenToNobodyAndMatchesNoSearch) {
  ASSERT_EQ(login(), OK);
  const Value scalar(32, 5);
  CK_OBJECT_HANDLE guarded = 0, extractable = 0;
  ASSERT_EQ(create(private_key(scalar), &guarded), OK);
  ASSERT_EQ(create(private_key(scalar).flag(CKA_SENSITIVE, false).flag(CKA_EXTRACTABLE, true), &extractable),
            OK);
  Value value;
  EXPECT_EQ(read(guarded, CKA_VALUE, value), answer(CKR_ATTRIBUTE_SENSITIVE));
  EXPECT_EQ(value_of(extractable, CKA_VALUE), scalar);
  EXPECT_THAT(find(Template().add(CKA_VALUE, scalar)), testing::ElementsAre(extractable));
}

TEST_F(ObjectTest, OneAttributeThatCannotBeGivenDoesNotKeepBackTheOthers) {
  CK_OBJECT_HANDLE object = 0;
  ASSERT_EQ(create(data("12345").text(CKA_LABEL, "label"), &object), OK);
  unsigned char label[8], little[2];
  CK_ATTRIBUTE wanted[] = {
      {CKA_EC_POINT, nullptr, 0}, {CKA_VALUE, little, sizeof little}, {CKA_LABEL, label, 8}};
  EXPECT_EQ(answer(m_token->C_GetAttributeValue(m_session, object, wanted, 3)), answer(CKR_BUFFER_TOO_SMALL));
  EXPECT_EQ(wanted[0].ulValueLen, CK_UNAVAILABLE_INFORMATION);
  EXPECT_EQ(wanted[1].ulValueLen, CK_UNAVAILABLE_INFORMATION);
  EXPECT_EQ(std::string(label, label + wanted[2].ulValueLen), "label");
}

TEST_F(ObjectTest, TemplatesAreChecked) {
  ASSERT_EQ(login(), OK);
  const Value off_curve = [] {
    Value point(67, 1);
    point[0] = 4, point[1] = 65, point[2] = 4;
    return point;
  }();
  // The generator of secp256r1, the public key of the scalar 1.
  const std::string x =
      "\x6B\x17\xD1\xF2\xE1\x2C\x42\x47\xF8\xBC\xE6\xE5\x63\xA4\x40\xF2"
      "\x77\x03\x7D\x81\x2D\xEB\x33\xA0\xF4\xA1\x39\x45\xD8\x98\xC2\x96";
  const std::string y =
      "\x4F\xE3\x42\xE2\xFE\x1A\x7F\x9B\x8E\xE7\xEB\x4A\x7C\x0F\x9E\x16"
      "\x2B\xCE\x33\x57\x6B\x31\x5E\xCE\xCB\xB6\x40\x68\x37\xBF\x51\xF5";
  const Value one = [] {
    Value scalar(32, 0);
    scalar.back() = 1;
    return scalar;
  }();
  const std::string algorithm = std::string("\x30\x13\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01", 11) +
                                std::string(kP256.begin(), kP256.end());
  const auto info = [&](const std::string& last) {
    return std::string("\x30\x59", 2) + algorithm + std::string("\x03\x42\x00\x04", 4) + x + y.substr(0, 31) +
           last;
  };
  const Template public_key = Class(CKO_PUBLIC_KEY).number(CKA_KEY_TYPE, CKK_EC).add(CKA_EC_PARAMS, kP256);
  const struct {
    const char* fault;
    Template object;
    CK_RV code;
  } cases[] = {
      {"no class", Template().text(CKA_VALUE, "x"), CKR_TEMPLATE_INCOMPLETE},
      {"class of 4 bytes", Template().add(CKA_CLASS, {0, 0, 0, 0}), CKR_ATTRIBUTE_VALUE_INVALID},
      {"secret key", Class(CKO_SECRET_KEY).number(CKA_KEY_TYPE, CKK_AES), CKR_ATTRIBUTE_VALUE_INVALID},
      {"unknown attribute", data("x").text(CKA_VENDOR_DEFINED | 1, "x"), CKR_ATTRIBUTE_TYPE_INVALID},
      {"attribute of another class", data("x").add(CKA_EC_PARAMS, kP256), CKR_TEMPLATE_INCONSISTENT},
      {"attribute twice", data("x").text(CKA_VALUE, "y"), CKR_TEMPLATE_INCONSISTENT},
      {"boolean of 2", Class(CKO_DATA).add(CKA_TOKEN, {2}), CKR_ATTRIBUTE_VALUE_INVALID},
      {"certificate without type", Class(CKO_CERTIFICATE).text(CKA_VALUE, "x"), CKR_TEMPLATE_INCOMPLETE},
      {"trusted, by the user", certificate().flag(CKA_TRUSTED, true), CKR_ATTRIBUTE_READ_ONLY},
      {"permanent", data("x").flag(TEE_CKA_VENDOR_PERMANENT, true), CKR_ATTRIBUTE_READ_ONLY},
      {"local", private_key(Value(32, 5)).flag(CKA_LOCAL, true), CKR_ATTRIBUTE_READ_ONLY},
      {"public private key", private_key(Value(32, 5)).flag(CKA_PRIVATE, false), CKR_ATTRIBUTE_VALUE_INVALID},
      {"scalar 0", private_key(Value(32, 0)), CKR_ATTRIBUTE_VALUE_INVALID},
      {"scalar above the order", private_key(Value(32, 0xFF)), CKR_ATTRIBUTE_VALUE_INVALID},
      {"point off the curve", Template(public_key).add(CKA_EC_POINT, off_curve), CKR_ATTRIBUTE_VALUE_INVALID},
      {"point at infinity", Template(public_key).add(CKA_EC_POINT, {4, 1, 0}), CKR_ATTRIBUTE_VALUE_INVALID},
      {"compressed point", Template(public_key).text(CKA_EC_POINT, std::string("\x04\x21\x03") + x),
       CKR_ATTRIBUTE_VALUE_INVALID},
      {"point in BER", Template(public_key).text(CKA_EC_POINT, std::string("\x04\x81\x41\x04") + x + y),
       CKR_ATTRIBUTE_VALUE_INVALID},
      {"no point", public_key, CKR_TEMPLATE_INCOMPLETE},
      {"no pair", private_key(one).text(CKA_PUBLIC_KEY_INFO, info("\xF6")), CKR_ATTRIBUTE_VALUE_INVALID},
      {"half a mechanism", private_key(one).add(CKA_ALLOWED_MECHANISMS, {1}), CKR_ATTRIBUTE_VALUE_INVALID},
      {"certificate of another type",
       Class(CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_WTLS).text(CKA_VALUE, "x"),
       CKR_ATTRIBUTE_VALUE_INVALID},
      {"certificate without subject",
       Class(CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509).text(CKA_VALUE, "x"),
       CKR_TEMPLATE_INCOMPLETE},
      {"point without its OCTET STRING", Template(public_key).add(CKA_EC_POINT, Value(65, 4)),
       CKR_ATTRIBUTE_VALUE_INVALID},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(create(each.object), answer(each.code)) << each.fault;
  }
  Template whole = data("x");
  EXPECT_EQ(answer(m_token->C_CreateObject(m_session, whole.data(), whole.size(), nullptr)),
            answer(CKR_ARGUMENTS_BAD));
  EXPECT_THAT(find(), testing::IsEmpty());
  EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, false)), OK);
  EXPECT_EQ(create(Template(public_key).text(CKA_EC_POINT, std::string("\x04\x41\x04") + x + y)), OK);
  EXPECT_EQ(create(private_key(one).text(CKA_PUBLIC_KEY_INFO, info("\xF5"))), OK);
  EXPECT_EQ(find(Template().text(CKA_PUBLIC_KEY_INFO, info("\xF5"))).size(), 2u) << "derived when not given";
}

TEST_F(ObjectTest, ProtectionOnlyGrowsByChangeAndByCopy) {
  ASSERT_EQ(login(), OK);
  const struct {
    CK_ATTRIBUTE_TYPE type;
    bool starts, ends;
    CK_RV code;
  } cases[] = {
      {CKA_SENSITIVE, true, false, CKR_ATTRIBUTE_READ_ONLY},
      {CKA_SENSITIVE, false, true, CKR_OK},
      {CKA_EXTRACTABLE, false, true, CKR_ATTRIBUTE_READ_ONLY},
      {CKA_EXTRACTABLE, true, false, CKR_OK},
      {CKA_COPYABLE, true, false, CKR_OK},
      {CKA_WRAP_WITH_TRUSTED, false, true, CKR_OK},
      {CKA_WRAP_WITH_TRUSTED, true, false, CKR_ATTRIBUTE_READ_ONLY},
      {CKA_SIGN, true, false, CKR_OK},
      {CKA_SIGN, false, true, CKR_OK},
  };
  for (const auto& each : cases) {
    CK_OBJECT_HANDLE key = 0, copy = 0;
    ASSERT_EQ(create(private_key(Value(32, 5)).flag(each.type, each.starts), &key), OK);
    Template change = Template().flag(each.type, each.ends);
    EXPECT_EQ(answer(m_token->C_CopyObject(m_session, key, change.data(), 1, &copy)), answer(each.code))
        << each.type;
    EXPECT_EQ(answer(m_token->C_SetAttributeValue(m_session, key, change.data(), 1)), answer(each.code))
        << each.type;
    const bool found = each.code == CKR_OK ? each.ends : each.starts;
    EXPECT_EQ(value_of(key, each.type), Value(1, found)) << each.type;
    EXPECT_TRUE(copy == 0 || value_of(copy, each.type) == Value(1, found)) << each.type;
  }
}

TEST_F(ObjectTest, TheTokenKeepsAKeysHistory) {
  ASSERT_EQ(login(), OK);
  const CK_ATTRIBUTE_TYPE history[] = {CKA_LOCAL, CKA_ALWAYS_SENSITIVE, CKA_NEVER_EXTRACTABLE};
  CK_OBJECT_HANDLE imported = 0, closed = 0, copy = 0, value_copy = 0;
  ASSERT_EQ(
      create(private_key(Value(32, 5)).flag(CKA_SENSITIVE, false).flag(CKA_EXTRACTABLE, true), &imported),
      OK);
  Template protect = Template().flag(CKA_SENSITIVE, true).flag(CKA_EXTRACTABLE, false);
  ASSERT_EQ(answer(m_token->C_CopyObject(m_session, imported, protect.data(), 2, &closed)), OK);
  const CK_OBJECT_HANDLE generated = generate()[1];
  ASSERT_EQ(answer(m_token->C_CopyObject(m_session, generated, nullptr, 0, &copy)), OK);
  for (const CK_ATTRIBUTE_TYPE type : history) {
    for (const CK_OBJECT_HANDLE key : {imported, closed, generated, copy}) {
      EXPECT_EQ(value_of(key, type), Value(1, key == generated || key == copy)) << key << ' ' << type;
      Template change = Template().flag(type, key == imported || key == closed);
      EXPECT_EQ(answer(m_token->C_SetAttributeValue(m_session, key, change.data(), 1)),
                answer(CKR_ATTRIBUTE_READ_ONLY));
    }
  }
  Value value;
  for (const CK_OBJECT_HANDLE key : {closed, generated, copy}) {
    EXPECT_EQ(read(key, CKA_VALUE, value), answer(CKR_ATTRIBUTE_SENSITIVE));
    EXPECT_EQ(answer(m_token->C_CopyObject(m_session, key, nullptr, 0, &value_copy)), OK);
    EXPECT_EQ(read(value_copy, CKA_VALUE, value), answer(CKR_ATTRIBUTE_SENSITIVE));
  }
}

TEST_F(ObjectTest, TheOfficerAloneTrusts) {
  ASSERT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, true).flag(CKA_TOKEN, true)), OK);
  const Handles trusted = find(Template().flag(CKA_TRUSTED, true));
  ASSERT_EQ(trusted.size(), 1u);
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  CK_OBJECT_HANDLE copy = 0;
  Template label = Template().text(CKA_LABEL, "moved");
  EXPECT_EQ(answer(m_token->C_SetAttributeValue(m_session, trusted[0], label.data(), 1)),
            answer(CKR_ACTION_PROHIBITED));
  ASSERT_EQ(answer(m_token->C_CopyObject(m_session, trusted[0], label.data(), 1, &copy)), OK);
  EXPECT_EQ(find(Template().flag(CKA_TRUSTED, true)), trusted) << "the copy is not trusted";
}

TEST_F(ObjectTest, ModifiableCopyableAndDestroyableAreHonoured) {
  const auto relabel = [&](CK_OBJECT_HANDLE object) {
    Template label = Template().text(CKA_LABEL, "new");
    return answer(m_token->C_SetAttributeValue(m_session, object, label.data(), 1));
  };
  const auto copy = [&](CK_OBJECT_HANDLE object, CK_OBJECT_HANDLE* made) {
    Template label = Template().text(CKA_LABEL, "copy");
    return answer(m_token->C_CopyObject(m_session, object, label.data(), 1, made));
  };
  CK_OBJECT_HANDLE fixed = 0, free = 0, made = 0;
  ASSERT_EQ(
      create(data("a").flag(CKA_MODIFIABLE, false).flag(CKA_COPYABLE, false).flag(CKA_DESTROYABLE, false),
             &fixed),
      OK);
  ASSERT_EQ(create(data("b"), &free), OK);
  EXPECT_EQ(relabel(fixed), answer(CKR_ACTION_PROHIBITED));
  EXPECT_EQ(copy(fixed, &made), answer(CKR_ACTION_PROHIBITED));
  EXPECT_EQ(destroy(fixed), answer(CKR_ACTION_PROHIBITED));
  EXPECT_EQ(relabel(free), OK);
  EXPECT_EQ(copy(free, &made), OK);
  EXPECT_EQ(value_of(free, CKA_LABEL), Value({'n', 'e', 'w'}));
  EXPECT_EQ(value_of(made, CKA_LABEL), Value({'c', 'o', 'p', 'y'}));
  EXPECT_EQ(value_of(made, CKA_VALUE), Value({'b'}));
  EXPECT_EQ(destroy(free), OK);
  EXPECT_THAT(find(), testing::ElementsAre(fixed, made));
}

TEST_F(ObjectTest, SearchesMatchAllAttributesInOrderOfCreation) {
  Handles made(60);
  for (std::size_t i = 0; i < made.size(); ++i) {
    Template object = data(i % 2 == 0 ? "even" : "odd").text(CKA_LABEL, i % 3 == 0 ? "third" : "other");
    ASSERT_EQ(create(object.text(TEE_CKA_VENDOR_CLIENT_ID, i == 30 ? "rare" : "usual"), &made[i]), OK);
  }
  EXPECT_EQ(find(), made);
  EXPECT_EQ(find(Template().text(CKA_LABEL, "third").text(CKA_VALUE, "even")).size(), 10u);
  EXPECT_THAT(find(Class(CKO_DATA).text(CKA_LABEL, "third").text(TEE_CKA_VENDOR_CLIENT_ID, "rare")),
              testing::ElementsAre(made[30]));
  EXPECT_THAT(find(Template().text(CKA_LABEL, "other").text(TEE_CKA_VENDOR_CLIENT_ID, "rare")),
              testing::IsEmpty());
  EXPECT_THAT(find(Template().text(CKA_LABEL, "thir")), testing::IsEmpty());
}

}  // namespace
}  // namespace token_test
