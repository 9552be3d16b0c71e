// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

Template private_key(std::uint8_t byte = 5) {
  Template key = Class(CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_EC);
  return key.add(CKA_EC_PARAMS, kP256).add(CKA_VALUE, Value(32, byte));
}

Template public_key(const Value& point) {
  Template key = Class(CKO_PUBLIC_KEY).number(CKA_KEY_TYPE, CKK_EC);
  return key.add(CKA_EC_PARAMS, kP256).add(CKA_EC_POINT, point);
}

using ObjectTest = TokenTest;

TEST_F(ObjectTest, TemplatesAreChecked) {
  ASSERT_EQ(login(), OK);
  const Handles pair = generate();
  const Value point = value_of(pair[0], CKA_EC_POINT), bare(point.begin() + 2, point.end());
  Value off = point;
  off.back() ^= 1;
  const struct {
    const char* fault;
    Template object;
    CK_RV code;
  } cases[] = {
      {"attribute of another class", data_object("x").add(CKA_EC_PARAMS, kP256), CKR_TEMPLATE_INCONSISTENT},
      {"attribute twice", data_object("x").text(CKA_VALUE, "y"), CKR_TEMPLATE_INCONSISTENT},
      {"permanent", data_object("x").flag(TEE_CKA_VENDOR_PERMANENT, true), CKR_ATTRIBUTE_READ_ONLY},
      {"public private key", private_key().flag(CKA_PRIVATE, false), CKR_ATTRIBUTE_VALUE_INVALID},
      {"scalar 0", private_key(0), CKR_ATTRIBUTE_VALUE_INVALID},
      {"point off the curve", public_key(off), CKR_ATTRIBUTE_VALUE_INVALID},
      {"point without its OCTET STRING", public_key(bare), CKR_ATTRIBUTE_VALUE_INVALID},
  };
  for (const auto& each : cases) EXPECT_EQ(create(each.object), each.code) << each.fault;
  EXPECT_EQ(find(), pair);
  EXPECT_EQ(create(public_key(point)), OK);
}

TEST_F(ObjectTest, ProtectionOnlyGrowsByChangeAndByCopy) {
  const struct {
    CK_ATTRIBUTE_TYPE type;
    bool starts, ends;
    CK_RV code;
  } cases[] = {
      {CKA_SENSITIVE, true, false, CKR_ATTRIBUTE_READ_ONLY},         {CKA_SENSITIVE, false, true, CKR_OK},
      {CKA_EXTRACTABLE, false, true, CKR_ATTRIBUTE_READ_ONLY},       {CKA_EXTRACTABLE, true, false, CKR_OK},
      {CKA_WRAP_WITH_TRUSTED, true, false, CKR_ATTRIBUTE_READ_ONLY}, {CKA_SIGN, false, true, CKR_OK},
  };
  ASSERT_EQ(login(), OK);
  for (const auto& each : cases) {
    CK_OBJECT_HANDLE key = 0, made = 0;
    const Value found(1, each.code == CKR_OK ? each.ends : each.starts);
    ASSERT_EQ(create(private_key().flag(each.type, each.starts), &key), OK);
    EXPECT_EQ(copy(key, Template().flag(each.type, each.ends), &made), each.code) << each.type;
    EXPECT_EQ(set(key, Template().flag(each.type, each.ends)), each.code) << each.type;
    EXPECT_EQ(value_of(key, each.type), found) << each.type;
    EXPECT_TRUE(made == 0 || value_of(made, each.type) == found) << each.type;
  }
  EXPECT_EQ(find(Template().add(CKA_VALUE, Value(32, 5))), Handles()) << "a guarded value matches nothing";
  CK_OBJECT_HANDLE silent = 0;
  ASSERT_EQ(create(private_key().flag(CKA_EXTRACTABLE, true), &silent), OK);
  EXPECT_EQ(value_of(silent, CKA_VALUE), Value(32, 5)) << "extractable and silent about CKA_SENSITIVE";
}

TEST_F(ObjectTest, AKeySignsWithItsMechanismsAndForItsLoggedInUser) {
  CK_MECHANISM raw = {CKM_ECDSA, nullptr, 0};
  CK_BYTE digest[32] = {}, signature[64];
  CK_ULONG length = sizeof signature;
  ASSERT_EQ(login(), OK);
  const Handles keys = generate(Template().number(CKA_ALLOWED_MECHANISMS, CKM_ECDSA));
  EXPECT_EQ(sign(keys[0]), CKR_KEY_TYPE_INCONSISTENT);
  EXPECT_EQ(sign(keys[1]), CKR_MECHANISM_INVALID);
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &raw, keys[1])), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, nullptr, 32, signature, &length)), CKR_ARGUMENTS_BAD);
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &raw, keys[1])), OK) << "the error has ended the operation";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, digest, 32, signature, &length)),
            CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_EQ(sign(keys[1]), CKR_KEY_HANDLE_INVALID);
}

TEST_F(ObjectTest, ATrustStoreGroupIsMadeAndChangedByTheOfficerAloneAndSoAreItsRoots) {
  const Template trusted = Template().flag(CKA_TRUSTED, true), group_class = Class(TEE_CKO_TRUST_STORE_GROUP);
  const Template group = Template(group_class).flag(CKA_TOKEN, true).text(TEE_CKA_VENDOR_CLIENT_ID, "C");
  Template certificate = Class(CKO_CERTIFICATE).number(CKA_CERTIFICATE_TYPE, CKC_X_509).flag(CKA_TOKEN, true);
  certificate.text(CKA_SUBJECT, "DN").text(CKA_VALUE, "DER");
  certificate.text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "backend");
  CK_OBJECT_HANDLE made = 0, root = 0, own = 0;
  ASSERT_EQ(login_officer(), OK);
  EXPECT_EQ(create(group, &made), OK);
  EXPECT_EQ(create(Template(certificate).flag(CKA_TRUSTED, true), &root), OK);
  ASSERT_EQ(logout(), OK);
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(create(group), CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_EQ(create(certificate, &own), OK) << "in the group, but not trusted";
  EXPECT_EQ(set(own, trusted), CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_EQ(copy(made), CKR_ACTION_PROHIBITED);
  EXPECT_EQ(copy(root), OK) << "which is not trusted";
  for (const Template& change : {trusted, group_class}) EXPECT_EQ(copy(own, change), CKR_ATTRIBUTE_READ_ONLY);
  for (const CK_OBJECT_HANDLE object : {made, root}) {
    EXPECT_EQ(destroy(object), CKR_ACTION_PROHIBITED);
    EXPECT_EQ(set(object, Template().text(CKA_LABEL, "other")), CKR_ACTION_PROHIBITED);
  }
  EXPECT_THAT(find(trusted), testing::ElementsAre(root));
  EXPECT_THAT(find(group_class), testing::ElementsAre(made));
}

}  // namespace
}  // namespace token_test
