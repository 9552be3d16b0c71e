// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

// clang-format off
#define FUNCTIONS(F) \
  F(C_GetInfo) F(C_GetSlotList) F(C_GetTokenInfo) F(C_GetMechanismList) F(C_GetMechanismInfo) F(C_GetSlotInfo) \
  F(C_InitToken) F(C_OpenSession) \
  F(C_InitPIN) F(C_SetPIN) F(C_CloseSession) F(C_GetSessionInfo) F(C_Login) F(C_Logout) F(C_CreateObject) \
  F(C_CopyObject) F(C_DestroyObject) F(C_GetAttributeValue) F(C_SetAttributeValue) F(C_FindObjectsInit) \
  F(C_FindObjects) F(C_FindObjectsFinal) F(C_SignInit) F(C_Sign) F(C_VerifyInit) F(C_Verify) \
  F(C_GenerateKeyPair) F(C_SeedRandom) F(C_GenerateRandom)
// clang-format on

template <typename... Arguments>
Answer answer_to_zeros(CK_RV (*function)(Arguments...)) {
  return function(Arguments{}...);
}

class FunctionTest : public TokenTest {
 protected:
  Answer sign_init(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return m_token->C_SignInit(m_session, &mechanism, key);
  }
  Answer sign(CK_BYTE* data) {
    CK_BYTE signature[64];
    CK_ULONG length = sizeof signature;
    return m_token->C_Sign(m_session, data, 32, signature, &length);
  }

  Value m_data = Value(32, 'x');
};

TEST_F(FunctionTest, ZeroArgumentsAreRefusedBeforeAndAfterTheEnd) {
#define EXPECT_REFUSAL(name) EXPECT_NE(answer_to_zeros(m_token->name), OK) << #name;
  FUNCTIONS(EXPECT_REFUSAL)
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  FUNCTIONS(EXPECT_REFUSAL)
}

TEST_F(FunctionTest, AKeySignsWithItsMechanismsAndForItsLoggedInUser) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate(Template().number(CKA_ALLOWED_MECHANISMS, CKM_ECDSA));
  EXPECT_EQ(sign_init(CKM_ECDSA, keys[0]), CKR_KEY_TYPE_INCONSISTENT);
  EXPECT_EQ(sign_init(CKM_ECDSA_SHA256, keys[1]), CKR_MECHANISM_INVALID);
  ASSERT_EQ(sign_init(CKM_ECDSA, keys[1]), OK);
  EXPECT_EQ(sign(nullptr), CKR_ARGUMENTS_BAD);
  ASSERT_EQ(sign_init(CKM_ECDSA, keys[1]), OK) << "the error has ended the operation";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(sign(m_data.data()), CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_EQ(sign_init(CKM_ECDSA, keys[1]), CKR_KEY_HANDLE_INVALID);
}

}  // namespace
}  // namespace token_test
