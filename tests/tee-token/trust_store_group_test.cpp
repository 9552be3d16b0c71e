// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

using testing::ElementsAre;

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
      .text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "backend");
}

/// A group with one root, made by the security officer, who has logged out.
class TrustStoreGroupTest : public TokenTest {
 protected:
  TrustStoreGroupTest() {
    EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
    EXPECT_EQ(create(group(), &m_group), OK);
    EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, true), &m_root), OK);
    EXPECT_EQ(logout(), OK);
  }

  CK_OBJECT_HANDLE m_group = 0, m_root = 0;
};

TEST_F(TrustStoreGroupTest, IsMadeAndChangedByTheOfficerAlone) {
  for (const bool user : {false, true}) {
    ASSERT_EQ(user ? login() : OK, OK);
    EXPECT_EQ(create(group()), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(create(certificate().flag(CKA_TRUSTED, true)), CKR_ATTRIBUTE_READ_ONLY);
    for (const CK_OBJECT_HANDLE object : {m_group, m_root}) {
      EXPECT_EQ(destroy(object), CKR_ACTION_PROHIBITED);
      EXPECT_EQ(set(object, Template().text(CKA_LABEL, "other")), CKR_ACTION_PROHIBITED);
    }
  }
  EXPECT_THAT(find(), ElementsAre(m_group, m_root));
  ASSERT_EQ(logout(), OK);
  ASSERT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_EQ(create(Class(TEE_CKO_TRUST_STORE_GROUP)), CKR_TEMPLATE_INCOMPLETE) << "without a client";
  EXPECT_EQ(create(group().text(TEE_CKA_VENDOR_KEY_ID, "x")), CKR_TEMPLATE_INCONSISTENT);
  EXPECT_EQ(create(data_object("x").text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "x")), CKR_TEMPLATE_INCONSISTENT);
  EXPECT_EQ(destroy(m_group), OK);
  EXPECT_EQ(destroy(m_root), OK);
}

TEST_F(TrustStoreGroupTest, NoCopyOrChangeOfTheUserMakesAGroupOrARoot) {
  ASSERT_EQ(login(), OK);
  CK_OBJECT_HANDLE own = 0;
  ASSERT_EQ(create(certificate(), &own), OK) << "in the group, but not trusted";
  EXPECT_EQ(copy(m_group), CKR_ACTION_PROHIBITED);
  EXPECT_EQ(copy(m_root), OK) << "which is not trusted";
  for (const CK_OBJECT_HANDLE object : {m_root, own}) {
    EXPECT_EQ(copy(object, Template().flag(CKA_TRUSTED, true)), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(copy(object, Class(TEE_CKO_TRUST_STORE_GROUP)), CKR_ATTRIBUTE_READ_ONLY);
  }
  EXPECT_EQ(set(own, Template().flag(CKA_TRUSTED, true)), CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_THAT(find(Template().flag(CKA_TRUSTED, true)), ElementsAre(m_root));
  EXPECT_THAT(find(Class(TEE_CKO_TRUST_STORE_GROUP)), ElementsAre(m_group));
}

}  // namespace
}  // namespace token_test
