// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/evp.h>

#include <filesystem>

#include "token_test.h"

namespace token_test {
namespace {

/// What a function answers when all its arguments are zero.
template <typename... Arguments>
Answer answer_to_zeros(CK_RV (*function)(Arguments...)) {
  return answer(function(Arguments{}...));
}

using Answers = std::vector<std::pair<const char*, Answer>>;

class FunctionTest : public TokenTest {
 protected:
  /// Of all functions but C_Initialize, C_Finalize and C_GetFunctionList.
  Answers answers_to_zeros() const {
#define ZEROS(name) \
  { #name, answer_to_zeros(m_token->name) }
    return {ZEROS(C_GetInfo),
            ZEROS(C_GetSlotList),
            ZEROS(C_GetTokenInfo),
            ZEROS(C_GetMechanismList),
            ZEROS(C_GetMechanismInfo),
            ZEROS(C_GetSlotInfo),
            ZEROS(C_InitToken),
            ZEROS(C_OpenSession),
            ZEROS(C_WaitForSlotEvent),
            ZEROS(C_CloseAllSessions),
            ZEROS(C_InitPIN),
            ZEROS(C_SetPIN),
            ZEROS(C_CloseSession),
            ZEROS(C_GetSessionInfo),
            ZEROS(C_GetOperationState),
            ZEROS(C_SetOperationState),
            ZEROS(C_Login),
            ZEROS(C_Logout),
            ZEROS(C_CreateObject),
            ZEROS(C_CopyObject),
            ZEROS(C_DestroyObject),
            ZEROS(C_GetObjectSize),
            ZEROS(C_GetAttributeValue),
            ZEROS(C_SetAttributeValue),
            ZEROS(C_FindObjectsInit),
            ZEROS(C_FindObjects),
            ZEROS(C_FindObjectsFinal),
            ZEROS(C_DigestInit),
            ZEROS(C_Digest),
            ZEROS(C_DigestUpdate),
            ZEROS(C_DigestKey),
            ZEROS(C_DigestFinal),
            ZEROS(C_SignInit),
            ZEROS(C_Sign),
            ZEROS(C_SignUpdate),
            ZEROS(C_SignFinal),
            ZEROS(C_VerifyInit),
            ZEROS(C_Verify),
            ZEROS(C_VerifyUpdate),
            ZEROS(C_VerifyFinal),
            ZEROS(C_GenerateKeyPair),
            ZEROS(C_SeedRandom),
            ZEROS(C_GenerateRandom),
            ZEROS(C_GetFunctionStatus),
            ZEROS(C_CancelFunction),
            ZEROS(C_EncryptInit),
            ZEROS(C_Encrypt),
            ZEROS(C_EncryptUpdate),
            ZEROS(C_EncryptFinal),
            ZEROS(C_DecryptInit),
            ZEROS(C_Decrypt),
            ZEROS(C_DecryptUpdate),
            ZEROS(C_DecryptFinal),
            ZEROS(C_SignRecoverInit),
            ZEROS(C_SignRecover),
            ZEROS(C_VerifyRecoverInit),
            ZEROS(C_VerifyRecover),
            ZEROS(C_DigestEncryptUpdate),
            ZEROS(C_DecryptDigestUpdate),
            ZEROS(C_SignEncryptUpdate),
            ZEROS(C_DecryptVerifyUpdate),
            ZEROS(C_GenerateKey),
            ZEROS(C_WrapKey),
            ZEROS(C_UnwrapKey),
            ZEROS(C_DeriveKey)};
#undef ZEROS
  }

  Answer digest_init(CK_MECHANISM_TYPE type) {
    CK_MECHANISM mechanism = {type, nullptr, 0};
    return answer(m_token->C_DigestInit(m_session, &mechanism));
  }
  Answer digest(CK_BYTE* to, CK_ULONG* length) {
    return answer(m_token->C_Digest(m_session, m_data.data(), m_data.size(), to, length));
  }

  Value m_data = Value(1000, 'x');
};

TEST_F(FunctionTest, AnswersInTheStandardsOrderWhenEverythingIsWrong) {
  const Answers answers = answers_to_zeros();
  ASSERT_EQ(answers.size(), 65u);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    // No session comes before null pointers; functions without a session find these.
    const CK_RV code = i == 9 ? CKR_OK : i < 9 ? CKR_ARGUMENTS_BAD : CKR_SESSION_HANDLE_INVALID;
    EXPECT_EQ(answers[i].second, answer(i < 45 ? code : CKR_FUNCTION_NOT_SUPPORTED)) << answers[i].first;
  }
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  for (const auto& each : answers_to_zeros()) {
    EXPECT_EQ(each.second, answer(CKR_CRYPTOKI_NOT_INITIALIZED)) << each.first;
  }
}

TEST_F(FunctionTest, DigestsInOnePartAndInSeveral) {
  const struct {
    CK_MECHANISM_TYPE type;
    const EVP_MD* hash;
  } cases[] = {{CKM_SHA256, EVP_sha256()}, {CKM_SHA384, EVP_sha384()}, {CKM_SHA512, EVP_sha512()}};
  for (const auto& each : cases) {
    Value expected(static_cast<std::size_t>(EVP_MD_get_size(each.hash))), found(expected.size());
    EVP_Digest(m_data.data(), m_data.size(), expected.data(), nullptr, each.hash, nullptr);
    CK_ULONG length = 0;
    ASSERT_EQ(digest_init(each.type), OK);
    EXPECT_EQ(digest(nullptr, &length), OK);
    EXPECT_EQ(length--, expected.size());
    EXPECT_EQ(digest(found.data(), &length), answer(CKR_BUFFER_TOO_SMALL));
    EXPECT_EQ(digest(found.data(), &length), OK);
    EXPECT_EQ(found, expected);
    EXPECT_EQ(digest(found.data(), &length), answer(CKR_OPERATION_NOT_INITIALIZED));

    ASSERT_EQ(digest_init(each.type), OK);
    EXPECT_EQ(digest_init(each.type), answer(CKR_OPERATION_ACTIVE));
    EXPECT_EQ(answer(m_token->C_DigestUpdate(m_session, m_data.data(), 999)), OK);
    EXPECT_EQ(answer(m_token->C_DigestUpdate(m_session, m_data.data(), 1)), OK);
    found.assign(found.size(), 0);
    EXPECT_EQ(answer(m_token->C_DigestFinal(m_session, nullptr, &length)), OK);
    EXPECT_EQ(answer(m_token->C_DigestFinal(m_session, found.data(), &length)), OK);
    EXPECT_EQ(found, expected);
  }
  EXPECT_EQ(digest_init(CKM_ECDSA_SHA256), answer(CKR_MECHANISM_INVALID));
  CK_MECHANISM_INFO info;
  ASSERT_EQ(answer(m_token->C_GetMechanismInfo(0, CKM_SHA384, &info)), OK);
  EXPECT_EQ(info.flags, static_cast<CK_FLAGS>(CKF_DIGEST));
}

TEST_F(FunctionTest, AnErrorEndsTheOperationThatItIsOfAndNoOther) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  CK_ULONG length = 64;
  Value result(64);
  const auto sign_without_data = [&] {
    return answer(m_token->C_Sign(m_session, nullptr, 1, result.data(), &length));
  };
  ASSERT_EQ(digest_init(CKM_SHA512), OK);
  EXPECT_EQ(sign_without_data(), answer(CKR_OPERATION_NOT_INITIALIZED));
  EXPECT_EQ(digest(result.data(), &length), OK) << "the digest went on";

  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, keys[1])), OK);
  EXPECT_EQ(sign_without_data(), answer(CKR_ARGUMENTS_BAD));
  EXPECT_EQ(sign_without_data(), answer(CKR_OPERATION_NOT_INITIALIZED));
  ASSERT_EQ(digest_init(CKM_SHA256), OK);
  EXPECT_EQ(answer(m_token->C_DigestKey(m_session, keys[0])), answer(CKR_KEY_INDIGESTIBLE));
  mechanism.mechanism = CKM_ECDSA;
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, keys[1])), OK) << "the digest has ended";
  EXPECT_EQ(answer(m_token->C_SignUpdate(m_session, result.data(), 1)), answer(CKR_FUNCTION_NOT_SUPPORTED));
}

TEST_F(FunctionTest, NoOperationIsSavedAndNoneRunsInTheBackground) {
  CK_ULONG length = 0;
  const auto state = [&] { return answer(m_token->C_GetOperationState(m_session, nullptr, &length)); };
  EXPECT_EQ(state(), answer(CKR_OPERATION_NOT_INITIALIZED));
  ASSERT_EQ(digest_init(CKM_SHA256), OK);
  EXPECT_EQ(state(), answer(CKR_STATE_UNSAVEABLE));
  EXPECT_EQ(answer(m_token->C_SetOperationState(m_session, m_data.data(), 9, 0, 0)),
            answer(CKR_SAVED_STATE_INVALID));
  EXPECT_EQ(answer(m_token->C_GetFunctionStatus(m_session)), answer(CKR_FUNCTION_NOT_PARALLEL));
  EXPECT_EQ(answer(m_token->C_CancelFunction(m_session)), answer(CKR_FUNCTION_NOT_PARALLEL));
  EXPECT_EQ(login({1, 2, 3, 4}, CKU_CONTEXT_SPECIFIC), answer(CKR_OPERATION_NOT_INITIALIZED));
}

TEST_F(FunctionTest, TellsOnceThatATokenCameOrWent) {
  CK_SLOT_ID slot = 9;
  const auto event = [&](CK_FLAGS flags) {
    return answer(m_token->C_WaitForSlotEvent(flags, &slot, nullptr));
  };
  EXPECT_EQ(event(CKF_DONT_BLOCK), OK) << "the fixture has made the token since C_Initialize";
  EXPECT_EQ(event(CKF_DONT_BLOCK), answer(CKR_NO_EVENT));
  EXPECT_EQ(event(0), answer(CKR_FUNCTION_NOT_SUPPORTED));
  std::filesystem::rename(folder(), folder() + "-away");
  EXPECT_EQ(event(CKF_DONT_BLOCK), OK);
  EXPECT_EQ(slot, 0u);
  EXPECT_EQ(event(CKF_DONT_BLOCK), answer(CKR_NO_EVENT));
}

TEST_F(FunctionTest, AnObjectsSizeGrowsWithItsValue) {
  CK_ULONG sizes[2] = {};
  for (std::size_t i = 0; i < 2; ++i) {
    CK_OBJECT_HANDLE object = 0;
    ASSERT_EQ(create(Class(CKO_DATA).add(CKA_VALUE, Value(1000 * i)), &object), OK);
    ASSERT_EQ(answer(m_token->C_GetObjectSize(m_session, object, &sizes[i])), OK);
  }
  EXPECT_EQ(sizes[1], sizes[0] + 1000);
  EXPECT_EQ(answer(m_token->C_GetObjectSize(m_session, 99, &sizes[0])), answer(CKR_OBJECT_HANDLE_INVALID));
}

}  // namespace
}  // namespace token_test
