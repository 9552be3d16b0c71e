// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

// Functions that need a mechanism which the token does not have: encryption, recovery, wrapping, derivation.
// Each entry of the list has to be filled (PKCS #11 2.40 base, 5).
#define UNSUPPORTED(call, ...)                                                                   \
  CK_RV call(__VA_ARGS__) {                                                                      \
    return tee_token::entry_point(#call, [](tee_token::Module&) {                                \
      throw tee_token::Error(CKR_FUNCTION_NOT_SUPPORTED, "the token has no mechanism for this"); \
    });                                                                                          \
  }

using Session = CK_SESSION_HANDLE;
using Object = CK_OBJECT_HANDLE;
using Length = CK_ULONG;
using Byte = unsigned char;

UNSUPPORTED(C_EncryptInit, Session, CK_MECHANISM*, Object)
UNSUPPORTED(C_Encrypt, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_EncryptUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_EncryptFinal, Session, Byte*, Length*)
UNSUPPORTED(C_DecryptInit, Session, CK_MECHANISM*, Object)
UNSUPPORTED(C_Decrypt, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_DecryptUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_DecryptFinal, Session, Byte*, Length*)
UNSUPPORTED(C_SignRecoverInit, Session, CK_MECHANISM*, Object)
UNSUPPORTED(C_SignRecover, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_VerifyRecoverInit, Session, CK_MECHANISM*, Object)
UNSUPPORTED(C_VerifyRecover, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_DigestEncryptUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_DecryptDigestUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_SignEncryptUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_DecryptVerifyUpdate, Session, Byte*, Length, Byte*, Length*)
UNSUPPORTED(C_GenerateKey, Session, CK_MECHANISM*, CK_ATTRIBUTE*, Length, Object*)
UNSUPPORTED(C_WrapKey, Session, CK_MECHANISM*, Object, Object, Byte*, Length*)
UNSUPPORTED(C_UnwrapKey, Session, CK_MECHANISM*, Object, Byte*, Length, CK_ATTRIBUTE*, Length, Object*)
UNSUPPORTED(C_DeriveKey, Session, CK_MECHANISM*, Object, CK_ATTRIBUTE*, Length, Object*)

#undef UNSUPPORTED

namespace {

// In the order of the C header's structure.
// clang-format off
CK_FUNCTION_LIST g_functions = {
    {2, 40},
    C_Initialize, C_Finalize, C_GetInfo, C_GetFunctionList, C_GetSlotList, C_GetSlotInfo, C_GetTokenInfo,
    C_GetMechanismList, C_GetMechanismInfo, C_InitToken, C_InitPIN, C_SetPIN, C_OpenSession, C_CloseSession,
    C_CloseAllSessions, C_GetSessionInfo, C_GetOperationState, C_SetOperationState, C_Login, C_Logout,
    C_CreateObject, C_CopyObject, C_DestroyObject, C_GetObjectSize, C_GetAttributeValue, C_SetAttributeValue,
    C_FindObjectsInit, C_FindObjects, C_FindObjectsFinal, C_EncryptInit, C_Encrypt, C_EncryptUpdate,
    C_EncryptFinal, C_DecryptInit, C_Decrypt, C_DecryptUpdate, C_DecryptFinal, C_DigestInit, C_Digest,
    C_DigestUpdate, C_DigestKey, C_DigestFinal, C_SignInit, C_Sign, C_SignUpdate, C_SignFinal,
    C_SignRecoverInit, C_SignRecover, C_VerifyInit, C_Verify, C_VerifyUpdate, C_VerifyFinal,
    C_VerifyRecoverInit, C_VerifyRecover, C_DigestEncryptUpdate, C_DecryptDigestUpdate, C_SignEncryptUpdate,
    C_DecryptVerifyUpdate, C_GenerateKey, C_GenerateKeyPair, C_WrapKey, C_UnwrapKey, C_DeriveKey,
    C_SeedRandom, C_GenerateRandom, C_GetFunctionStatus, C_CancelFunction, C_WaitForSlotEvent,
};
// clang-format on

}  // namespace

CK_FUNCTION_LIST* tee_token::cryptoki_functions() { return &g_functions; }

TEE_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  if (list == nullptr) {
    return CKR_ARGUMENTS_BAD;
  }
  *list = tee_token::cryptoki_functions();
  return CKR_OK;
}
