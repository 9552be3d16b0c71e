// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

Template group() {
  return Class(TEE_CKO_TRUST_STORE_GROUP)
      .flag(CKA_TOKEN, true)
      .text(CKA_LABEL, "backend")
      .text(TEE_CKA_VENDOR_CLIENT_ID, "CCI_CLIENT");
}

Template certificate() {
  return Class(CKO_CERTIFICATE)
      .number(CKA_CERTIFICATE_TYPE, CKC_X_509)
      .text(CKA_SUBJECT, "DN")
      .flag(CKA_TOKEN, true)
      .text(CKA_VALUE, "DER")
      .text(TEE_CKA_VENDOR_CLIENT_ID, "CCI_CLIENT")
      .text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "backend");
}

/// A group with one root, made by the officer, who is logged in.
class TrustStoreGroupTest : public TokenTest {
 protected:
  TrustStoreGroupTest() {
    EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
    EXPECT_EQ(create(group(), &m_group), OK);
    EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, true), &m_root), OK);
  }

  void logout() { ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK); }

  Answer change(CK_OBJECT_HANDLE object, Template changes) {
    return answer(m_token->C_SetAttributeValue(m_session, object, changes.data(), changes.size()));
  }

  Answer copy(CK_OBJECT_HANDLE object, Template changes = Template()) {
    CK_OBJECT_HANDLE made = 0;
    return answer(m_token->C_CopyObject(m_session, object, changes.data(), changes.size(), &made));
  }

  CK_OBJECT_HANDLE m_group = 0, m_root = 0;
};

TEST_F(TrustStoreGroupTest, IsMadeByTheOfficerForOneClient) {
  const struct {
    const char* fault;
    Template object;
    CK_RV code;
  } cases[] = {
      {"no client", Class(TEE_CKO_TRUST_STORE_GROUP).text(CKA_LABEL, "x"), CKR_TEMPLATE_INCOMPLETE},
      {"a value", group().text(CKA_VALUE, "x"), CKR_TEMPLATE_INCONSISTENT},
      {"a key identifier", group().text(TEE_CKA_VENDOR_KEY_ID, "LYR"), CKR_TEMPLATE_INCONSISTENT},
      {"in a group itself", group().text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "x"), CKR_TEMPLATE_INCONSISTENT},
      {"data in a group", Class(CKO_DATA).text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "x"),
       CKR_TEMPLATE_INCONSISTENT},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(create(each.object), answer(each.code)) << each.fault;
  }
  logout();
  EXPECT_EQ(create(group()), answer(CKR_ATTRIBUTE_READ_ONLY));
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(create(group()), answer(CKR_ATTRIBUTE_READ_ONLY));
  EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, true)), answer(CKR_ATTRIBUTE_READ_ONLY));
  EXPECT_THAT(find(), testing::ElementsAre(m_group, m_root));
}

TEST_F(TrustStoreGroupTest, NobodyElseChangesOrDestroysWhatTheOfficerTrusts) {
  logout();
  for (const bool user : {false, true}) {
    ASSERT_EQ(user ? login() : OK, OK);
    for (const CK_OBJECT_HANDLE object : {m_group, m_root}) {
      EXPECT_EQ(destroy(object), answer(CKR_ACTION_PROHIBITED));
      EXPECT_EQ(change(object, Template().text(CKA_LABEL, "other")), answer(CKR_ACTION_PROHIBITED));
    }
  }
  EXPECT_EQ(value_of(m_group, CKA_LABEL).size(), 7u);
  logout();
  ASSERT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_EQ(destroy(m_group), OK);
  EXPECT_EQ(destroy(m_root), OK);
  EXPECT_THAT(find(), testing::IsEmpty());
}

TEST_F(TrustStoreGroupTest, NoCopyBecomesAGroupOrARoot) {
  logout();
  ASSERT_EQ(login(), OK);
  CK_OBJECT_HANDLE own = 0;
  ASSERT_EQ(create(certificate(), &own), OK) << "in the group, but not trusted";
  EXPECT_EQ(copy(m_group), answer(CKR_ACTION_PROHIBITED));
  EXPECT_EQ(copy(m_root), OK);
  for (const CK_OBJECT_HANDLE object : {m_root, own}) {
    EXPECT_EQ(copy(object, Template().flag(CKA_TRUSTED, true)), answer(CKR_ATTRIBUTE_READ_ONLY));
    EXPECT_EQ(copy(object, Class(TEE_CKO_TRUST_STORE_GROUP)), answer(CKR_ATTRIBUTE_READ_ONLY));
  }
  EXPECT_EQ(change(own, Template().flag(CKA_TRUSTED, true)), answer(CKR_ATTRIBUTE_READ_ONLY));
  EXPECT_THAT(find(Template().flag(CKA_TRUSTED, true)), testing::ElementsAre(m_root));
  EXPECT_THAT(find(Class(TEE_CKO_TRUST_STORE_GROUP)), testing::ElementsAre(m_group));
}

}  // namespace
}  // namespace token_test
