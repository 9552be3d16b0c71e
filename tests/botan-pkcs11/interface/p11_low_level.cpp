// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11.h>

#include <scoped_allocator>

#include "declared.h"

using namespace Botan::PKCS11;

template struct Class<LowLevel, kCopies + kMoves>;
template struct Constructs<LowLevel, FunctionListPtr>;

/// Has_NAME<Parameters...> is the method with these parameters, and a last one that is the same for all and
/// may be left out.
#define METHOD(name)                                                             \
  template <typename... Parameters>                                              \
  struct Has_##name {                                                            \
    static void call(const LowLevel& low_level, Parameters... parameters) {      \
      has<LowLevel, bool(Parameters..., ReturnValue*) const>({&LowLevel::name}); \
      keep<bool>(low_level.name(static_cast<Parameters>(parameters)...));        \
    }                                                                            \
  }

/// With the parameters of the C function.
template <template <typename...> class Method, typename Function>
struct Same_parameters;
template <template <typename...> class Method, typename... Parameters>
struct Same_parameters<Method, CK_RV (*)(Parameters...)> {
  static void exists() { keep(&Method<Parameters...>::call); }
};

#define WRAPPED(name) \
  METHOD(name);       \
  template struct Same_parameters<Has_##name, decltype(CK_FUNCTION_LIST::name)>

// clang-format off
WRAPPED(C_Initialize); WRAPPED(C_Finalize); WRAPPED(C_GetInfo);
WRAPPED(C_GetSlotList); WRAPPED(C_GetSlotInfo); WRAPPED(C_GetTokenInfo); WRAPPED(C_WaitForSlotEvent);
WRAPPED(C_InitToken); WRAPPED(C_InitPIN); WRAPPED(C_SetPIN);
WRAPPED(C_OpenSession); WRAPPED(C_CloseSession); WRAPPED(C_CloseAllSessions); WRAPPED(C_GetSessionInfo);
WRAPPED(C_GetOperationState); WRAPPED(C_SetOperationState); WRAPPED(C_Logout);
WRAPPED(C_CreateObject); WRAPPED(C_CopyObject); WRAPPED(C_DestroyObject); WRAPPED(C_GetObjectSize);
WRAPPED(C_GetAttributeValue); WRAPPED(C_SetAttributeValue);
WRAPPED(C_FindObjectsInit); WRAPPED(C_FindObjects); WRAPPED(C_FindObjectsFinal);
WRAPPED(C_EncryptInit); WRAPPED(C_Encrypt); WRAPPED(C_EncryptUpdate); WRAPPED(C_EncryptFinal);
WRAPPED(C_DecryptInit); WRAPPED(C_Decrypt); WRAPPED(C_DecryptUpdate); WRAPPED(C_DecryptFinal);
WRAPPED(C_DigestInit); WRAPPED(C_Digest); WRAPPED(C_DigestUpdate); WRAPPED(C_DigestKey); WRAPPED(C_DigestFinal);
WRAPPED(C_SignInit); WRAPPED(C_Sign); WRAPPED(C_SignUpdate); WRAPPED(C_SignFinal);
WRAPPED(C_SignRecoverInit); WRAPPED(C_SignRecover);
WRAPPED(C_VerifyInit); WRAPPED(C_Verify); WRAPPED(C_VerifyUpdate); WRAPPED(C_VerifyFinal);
WRAPPED(C_VerifyRecoverInit); WRAPPED(C_VerifyRecover);
WRAPPED(C_DigestEncryptUpdate); WRAPPED(C_DecryptDigestUpdate);
WRAPPED(C_SignEncryptUpdate); WRAPPED(C_DecryptVerifyUpdate);
WRAPPED(C_GenerateKey); WRAPPED(C_GenerateKeyPair); WRAPPED(C_WrapKey); WRAPPED(C_UnwrapKey); WRAPPED(C_DeriveKey);
WRAPPED(C_SeedRandom); WRAPPED(C_GenerateRandom); WRAPPED(C_GetFunctionStatus); WRAPPED(C_CancelFunction);
// clang-format on

METHOD(C_GetMechanismList);
METHOD(C_GetMechanismInfo);
METHOD(C_Login);

using Bytes = std::vector<uint8_t>;
// Of an allocator that no overload is made for.
using Others = std::vector<uint8_t, std::scoped_allocator_adaptor<std::allocator<uint8_t>>>;

template struct Has_C_GetSlotList<bool, std::vector<SlotId>&>;
template struct Has_C_GetMechanismList<SlotId, MechanismType*, Ulong*>;
template struct Has_C_GetMechanismList<SlotId, std::vector<MechanismType>&>;
template struct Has_C_GetMechanismInfo<SlotId, MechanismType, MechanismInfo*>;
template struct Has_C_InitToken<SlotId, const Others&, const std::string&>;
template struct Has_C_InitPIN<SessionHandle, const Others&>;
template struct Has_C_SetPIN<SessionHandle, const Others&, const Others&>;
template struct Has_C_Login<SessionHandle, UserType, Utf8Char*, Ulong>;
template struct Has_C_Login<SessionHandle, UserType, const Others&>;
template struct Has_C_GetAttributeValue<SessionHandle, ObjectHandle, std::map<AttributeType, Others>&>;
template struct Has_C_SetAttributeValue<SessionHandle, ObjectHandle, std::map<AttributeType, Others>&>;
template struct Has_C_Encrypt<SessionHandle, const Bytes&, Others&>;
template struct Has_C_Decrypt<SessionHandle, const Bytes&, Others&>;
template struct Has_C_Sign<SessionHandle, const Bytes&, Others&>;
template struct Has_C_SignUpdate<SessionHandle, const Others&>;
template struct Has_C_SignFinal<SessionHandle, Others&>;
template struct Has_C_Verify<SessionHandle, const Bytes&, Others&>;
template struct Has_C_VerifyUpdate<SessionHandle, Others>;

void get_function_list(Botan::Dynamically_Loaded_Library& library, FunctionListPtr* list) {
  has<bool(Botan::Dynamically_Loaded_Library&, FunctionListPtr*, ReturnValue*)>(LowLevel::C_GetFunctionList);
  LowLevel::C_GetFunctionList(library, list);
}
