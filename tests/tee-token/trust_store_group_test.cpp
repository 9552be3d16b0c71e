// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

using testing::ElementsAre;
using TrustStoreGroupTest = TokenTest;

TEST_F(TrustStoreGroupTest, IsMadeAndChangedByTheOfficerAloneAndSoAreItsRoots) {
  const Template trusted = Template().flag(CKA_TRUSTED, true), group_class = Class(TEE_CKO_TRUST_STORE_GROUP);
  const Template group = Template(group_class).flag(CKA_TOKEN, true).text(TEE_CKA_VENDOR_CLIENT_ID, "C");
  const Template certificate = Class(CKO_CERTIFICATE)
                                   .number(CKA_CERTIFICATE_TYPE, CKC_X_509)
                                   .text(CKA_SUBJECT, "DN")
                                   .flag(CKA_TOKEN, true)
                                   .text(CKA_VALUE, "DER")
                                   .text(TEE_CKA_VENDOR_TRUST_STORE_GROUP, "backend");
  CK_OBJECT_HANDLE made = 0, root = 0, own = 0;
  ASSERT_EQ(login_officer(), OK);
  EXPECT_EQ(create(group_class), CKR_TEMPLATE_INCOMPLETE) << "without a client";
  EXPECT_EQ(create(group, &made), OK);
  EXPECT_EQ(create(Template(certificate).flag(CKA_TRUSTED, true), &root), OK);
  ASSERT_EQ(logout(), OK);
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(create(group), CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_EQ(create(certificate, &own), OK) << "in the group, but not trusted";
  EXPECT_EQ(set(own, trusted), CKR_ATTRIBUTE_READ_ONLY);
  EXPECT_EQ(copy(made), CKR_ACTION_PROHIBITED);
  EXPECT_EQ(copy(root), OK) << "which is not trusted";
  for (const CK_OBJECT_HANDLE object : {root, own}) {
    EXPECT_EQ(copy(object, trusted), CKR_ATTRIBUTE_READ_ONLY);
    EXPECT_EQ(copy(object, group_class), CKR_ATTRIBUTE_READ_ONLY);
  }
  for (const CK_OBJECT_HANDLE object : {made, root}) {
    EXPECT_EQ(destroy(object), CKR_ACTION_PROHIBITED);
    EXPECT_EQ(set(object, Template().text(CKA_LABEL, "other")), CKR_ACTION_PROHIBITED);
  }
  EXPECT_THAT(find(trusted), ElementsAre(root));
  EXPECT_THAT(find(group_class), ElementsAre(made));
}

}  // namespace
}  // namespace token_test
