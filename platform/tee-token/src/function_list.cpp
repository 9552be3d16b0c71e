#include "function_list.h"

namespace tee_token {
namespace {

template <typename Function>
struct Unsupported;

template <typename... Arguments>
struct Unsupported<CK_RV (*)(Arguments...)> {
  static CK_RV call(Arguments...) { return CKR_FUNCTION_NOT_SUPPORTED; }
};

template <typename Function>
constexpr Function unsupported = Unsupported<Function>::call;

// In the order of the C header's structure.
CK_FUNCTION_LIST g_functions = {
    {2, 40},
    C_Initialize,
    C_Finalize,
    C_GetInfo,
    C_GetFunctionList,
    C_GetSlotList,
    C_GetSlotInfo,
    C_GetTokenInfo,
    C_GetMechanismList,
    C_GetMechanismInfo,
    C_InitToken,
    C_InitPIN,
    C_SetPIN,
    C_OpenSession,
    C_CloseSession,
    C_CloseAllSessions,
    C_GetSessionInfo,
    unsupported<CK_C_GetOperationState>,
    unsupported<CK_C_SetOperationState>,
    C_Login,
    C_Logout,
    C_CreateObject,
    C_CopyObject,
    C_DestroyObject,
    unsupported<CK_C_GetObjectSize>,
    C_GetAttributeValue,
    C_SetAttributeValue,
    C_FindObjectsInit,
    C_FindObjects,
    C_FindObjectsFinal,
    unsupported<CK_C_EncryptInit>,
    unsupported<CK_C_Encrypt>,
    unsupported<CK_C_EncryptUpdate>,
    unsupported<CK_C_EncryptFinal>,
    unsupported<CK_C_DecryptInit>,
    unsupported<CK_C_Decrypt>,
    unsupported<CK_C_DecryptUpdate>,
    unsupported<CK_C_DecryptFinal>,
    unsupported<CK_C_DigestInit>,
    unsupported<CK_C_Digest>,
    unsupported<CK_C_DigestUpdate>,
    unsupported<CK_C_DigestKey>,
    unsupported<CK_C_DigestFinal>,
    C_SignInit,
    C_Sign,
    C_SignUpdate,
    C_SignFinal,
    unsupported<CK_C_SignRecoverInit>,
    unsupported<CK_C_SignRecover>,
    C_VerifyInit,
    C_Verify,
    C_VerifyUpdate,
    C_VerifyFinal,
    unsupported<CK_C_VerifyRecoverInit>,
    unsupported<CK_C_VerifyRecover>,
    unsupported<CK_C_DigestEncryptUpdate>,
    unsupported<CK_C_DecryptDigestUpdate>,
    unsupported<CK_C_SignEncryptUpdate>,
    unsupported<CK_C_DecryptVerifyUpdate>,
    unsupported<CK_C_GenerateKey>,
    C_GenerateKeyPair,
    unsupported<CK_C_WrapKey>,
    unsupported<CK_C_UnwrapKey>,
    unsupported<CK_C_DeriveKey>,
    C_SeedRandom,
    C_GenerateRandom,
    unsupported<CK_C_GetFunctionStatus>,
    unsupported<CK_C_CancelFunction>,
    unsupported<CK_C_WaitForSlotEvent>,
};

}  // namespace

CK_FUNCTION_LIST* cryptoki_functions() { return &g_functions; }

}  // namespace tee_token
