// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/sha.h>

#include "token_test.h"

namespace token_test {
namespace {

class SignatureTest : public TokenTest {
 protected:
  SignatureTest() {
    EXPECT_EQ(login(), OK);
    const Handles keys = generate();
    m_public = keys[0];
    m_private = keys[1];
  }

  Answer begin(CK_MECHANISM_TYPE type) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return answer(m_token->C_SignInit(m_session, &mechanism, m_private));
  }

  Value m_data = Value(1000, 'x');
  Value m_signature = Value(64);
  CK_OBJECT_HANDLE m_public = 0, m_private = 0;
};

TEST_F(SignatureTest, HashingInTheTokenIsTheSameAsBefore) {
  ASSERT_EQ(sign(m_private, CKM_ECDSA_SHA256, m_data, m_signature), OK);
  EXPECT_EQ(m_signature.size(), 64u);
  Value digest(SHA256_DIGEST_LENGTH);
  SHA256(m_data.data(), m_data.size(), digest.data());
  EXPECT_EQ(verify(m_public, CKM_ECDSA, digest, m_signature), OK);
  m_signature[40] ^= 1;
  EXPECT_EQ(verify(m_public, CKM_ECDSA, digest, m_signature), answer(CKR_SIGNATURE_INVALID));
  m_signature.pop_back();
  EXPECT_EQ(verify(m_public, CKM_ECDSA, digest, m_signature), answer(CKR_SIGNATURE_LEN_RANGE));
  ASSERT_EQ(sign(m_private, CKM_ECDSA, digest, m_signature), OK);
  EXPECT_EQ(verify(m_public, CKM_ECDSA_SHA256, m_data, m_signature), OK);
}

TEST_F(SignatureTest, LengthQueryKeepsTheOperationActiveAndEverythingElseEndsIt) {
  CK_ULONG length = 0;
  ASSERT_EQ(begin(CKM_ECDSA_SHA256), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, m_data.data(), 1000, nullptr, &length)), OK);
  EXPECT_EQ(length, 64u);
  length = 63;
  EXPECT_EQ(answer(m_token->C_Sign(m_session, m_data.data(), 1000, m_signature.data(), &length)),
            answer(CKR_BUFFER_TOO_SMALL));
  EXPECT_EQ(length, 64u);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, m_data.data(), 1000, m_signature.data(), &length)), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, m_data.data(), 1000, m_signature.data(), &length)),
            answer(CKR_OPERATION_NOT_INITIALIZED));
  ASSERT_EQ(begin(CKM_ECDSA), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, nullptr, 0, m_signature.data(), &length)),
            answer(CKR_DATA_LEN_RANGE));
  EXPECT_EQ(begin(CKM_ECDSA), OK);
}

TEST_F(SignatureTest, OnlyAFittingKeyOfTheLoggedInUserSigns) {
  EXPECT_EQ(sign(m_private, CKM_RSA_PKCS, m_data, m_signature), answer(CKR_MECHANISM_INVALID));
  EXPECT_EQ(sign(m_public, CKM_ECDSA_SHA256, m_data, m_signature), answer(CKR_KEY_TYPE_INCONSISTENT));
  EXPECT_EQ(sign(m_private + 1, CKM_ECDSA_SHA256, m_data, m_signature), answer(CKR_KEY_HANDLE_INVALID));
  Template not_for_signing = Template().flag(CKA_SIGN, false);
  ASSERT_EQ(answer(m_token->C_SetAttributeValue(m_session, m_private, not_for_signing.data(), 1)), OK);
  EXPECT_EQ(sign(m_private, CKM_ECDSA_SHA256, m_data, m_signature), answer(CKR_KEY_FUNCTION_NOT_PERMITTED));

  const Template limited = Template().number(CKA_ALLOWED_MECHANISMS, CKM_ECDSA);
  const CK_OBJECT_HANDLE bound = generate(limited)[1];
  EXPECT_EQ(sign(bound, CKM_ECDSA_SHA256, m_data, m_signature), answer(CKR_MECHANISM_INVALID));
  EXPECT_EQ(sign(bound, CKM_ECDSA, m_data, m_signature), OK);

  const CK_OBJECT_HANDLE other = generate()[1];
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  CK_ULONG length = 64;
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, other)), OK);
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_EQ(answer(m_token->C_Sign(m_session, m_data.data(), 1, m_signature.data(), &length)),
            answer(CKR_OPERATION_NOT_INITIALIZED));
  EXPECT_EQ(sign(other, CKM_ECDSA_SHA256, m_data, m_signature), answer(CKR_KEY_HANDLE_INVALID));
}

}  // namespace
}  // namespace token_test
