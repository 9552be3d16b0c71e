// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

// Even an unsupported function has its stub (PKCS #11 2.40 base, 5): the token has no mechanism that
// encrypts, recovers, wraps or derives.
#define UNSUPPORTED(call, ...)                                                                   \
  CK_RV call(__VA_ARGS__) {                                                                      \
    return tee_token::entry_point(#call, [](tee_token::Module&) {                                \
      throw tee_token::Error(CKR_FUNCTION_NOT_SUPPORTED, "no mechanism of the token does this"); \
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
