// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/sha.h>

#include <filesystem>

#include "token_test.h"

namespace token_test {
namespace {

// Functions that need no session, those that need one, and those that the token does not have.
// clang-format off
#define FUNCTIONS(F) \
  F(C_GetInfo) F(C_GetSlotList) F(C_GetTokenInfo) F(C_GetMechanismList) F(C_GetMechanismInfo) F(C_GetSlotInfo) \
  F(C_InitToken) F(C_OpenSession) F(C_WaitForSlotEvent) \
  F(C_InitPIN) F(C_SetPIN) F(C_CloseSession) F(C_GetSessionInfo) F(C_GetOperationState) F(C_SetOperationState) \
  F(C_Login) F(C_Logout) F(C_CreateObject) F(C_CopyObject) F(C_DestroyObject) F(C_GetObjectSize) \
  F(C_GetAttributeValue) F(C_SetAttributeValue) F(C_FindObjectsInit) F(C_FindObjects) F(C_FindObjectsFinal) \
  F(C_DigestInit) F(C_Digest) F(C_DigestUpdate) F(C_DigestKey) F(C_DigestFinal) F(C_SignInit) F(C_Sign) \
  F(C_SignUpdate) F(C_SignFinal) F(C_VerifyInit) F(C_Verify) F(C_VerifyUpdate) F(C_VerifyFinal) \
  F(C_GenerateKeyPair) F(C_SeedRandom) F(C_GenerateRandom) F(C_GetFunctionStatus) F(C_CancelFunction) \
  F(C_EncryptInit) F(C_Encrypt) F(C_EncryptUpdate) F(C_EncryptFinal) F(C_DecryptInit) F(C_Decrypt) \
  F(C_DecryptUpdate) F(C_DecryptFinal) F(C_SignRecoverInit) F(C_SignRecover) F(C_VerifyRecoverInit) \
  F(C_VerifyRecover) F(C_DigestEncryptUpdate) F(C_DecryptDigestUpdate) F(C_SignEncryptUpdate) \
  F(C_DecryptVerifyUpdate) F(C_GenerateKey) F(C_WrapKey) F(C_UnwrapKey) F(C_DeriveKey)
// clang-format on

template <typename... Arguments>
Answer answer_to_zeros(CK_RV (*function)(Arguments...)) {
  return function(Arguments{}...);
}

class FunctionTest : public TokenTest {
 protected:
  std::vector<std::pair<std::string, Answer>> answers_to_zeros() const {
#define ANSWER(name) {#name, answer_to_zeros(m_token->name)},
    return {FUNCTIONS(ANSWER)};
  }
  Answer digest_init() {
    CK_MECHANISM mechanism = {CKM_SHA256, nullptr, 0};
    return m_token->C_DigestInit(m_session, &mechanism);
  }
  Answer sign_init(CK_MECHANISM_TYPE type, CK_OBJECT_HANDLE key) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return m_token->C_SignInit(m_session, &mechanism, key);
  }
  Answer sign(CK_BYTE* data) { return m_token->C_Sign(m_session, data, 32, m_result.data(), &m_length); }

  Value m_data = Value(32, 'x'), m_result = Value(64);
  CK_ULONG m_length = 64;
};

TEST_F(FunctionTest, ZeroArgumentsAreRefusedInTheStandardsOrder) {
  const auto answers = answers_to_zeros();
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const CK_RV code = i < 9    ? CKR_ARGUMENTS_BAD
                       : i < 44 ? CKR_SESSION_HANDLE_INVALID
                                : CKR_FUNCTION_NOT_SUPPORTED;
    EXPECT_EQ(answers[i].second, code) << answers[i].first;
  }
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  for (const auto& [name, found] : answers_to_zeros()) EXPECT_EQ(found, CKR_CRYPTOKI_NOT_INITIALIZED) << name;
}

TEST_F(FunctionTest, DigestsInSeveralParts) {
  Value expected(SHA256_DIGEST_LENGTH), found(expected.size());
  SHA256(m_data.data(), m_data.size(), expected.data());
  ASSERT_EQ(digest_init(), OK);
  EXPECT_EQ(digest_init(), CKR_OPERATION_ACTIVE);
  EXPECT_EQ(answer(m_token->C_DigestUpdate(m_session, m_data.data(), 31)), OK);
  EXPECT_EQ(answer(m_token->C_DigestUpdate(m_session, m_data.data(), 1)), OK);
  EXPECT_EQ(answer(m_token->C_DigestFinal(m_session, found.data(), &m_length)), OK);
  EXPECT_EQ(found, expected);
}

TEST_F(FunctionTest, AnErrorEndsTheOperationThatItIsAboutAlone) {
  ASSERT_EQ(login(), OK);
  const CK_OBJECT_HANDLE key = generate()[1];
  ASSERT_EQ(digest_init(), OK);
  EXPECT_EQ(sign(m_data.data()), CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_EQ(digest_init(), CKR_OPERATION_ACTIVE) << "the error was not about the digest";
  EXPECT_EQ(answer(m_token->C_DigestKey(m_session, key)), CKR_KEY_INDIGESTIBLE);
  ASSERT_EQ(sign_init(CKM_ECDSA_SHA256, key), OK) << "the digest has ended";
  EXPECT_EQ(sign(nullptr), CKR_ARGUMENTS_BAD);
  EXPECT_EQ(sign(m_data.data()), CKR_OPERATION_NOT_INITIALIZED);
}

TEST_F(FunctionTest, AKeySignsWithItsMechanismsAndForItsLoggedInUser) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate(Template().number(CKA_ALLOWED_MECHANISMS, CKM_ECDSA));
  EXPECT_EQ(sign_init(CKM_ECDSA, keys[0]), CKR_KEY_TYPE_INCONSISTENT);
  EXPECT_EQ(sign_init(CKM_ECDSA_SHA256, keys[1]), CKR_MECHANISM_INVALID);
  ASSERT_EQ(sign_init(CKM_ECDSA, keys[1]), OK);
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(sign(m_data.data()), CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_EQ(sign_init(CKM_ECDSA, keys[1]), CKR_KEY_HANDLE_INVALID);
}

TEST_F(FunctionTest, ReportsOnceThatATokenCameOrWent) {
  CK_SLOT_ID slot = 9;
  const auto event = [&] { return answer(m_token->C_WaitForSlotEvent(CKF_DONT_BLOCK, &slot, nullptr)); };
  EXPECT_EQ(event(), OK) << "the fixture has made the token since C_Initialize";
  EXPECT_EQ(event(), CKR_NO_EVENT);
  std::filesystem::rename(folder(), folder() + "-away");
  EXPECT_EQ(event(), OK);
  EXPECT_EQ(event(), CKR_NO_EVENT);
}

}  // namespace
}  // namespace token_test
