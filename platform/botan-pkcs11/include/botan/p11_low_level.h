// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/dyn_load.h>
#include <botan/exceptn.h>
#include <botan/p11_constants.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace Botan {
namespace PKCS11 {

/// What the last argument of a token function means:
///
/// | argument                   | success           | failure                                             |
/// |----------------------------|-------------------|-----------------------------------------------------|
/// | ThrowException (a default) | true              | throws PKCS11_ReturnError                           |
/// | nullptr                    | true              | false; the code is lost                             |
/// | any other pointer          | true, *p is OK    | false, *p is the code                               |
///
/// Only CKR_OK is success. Other errors (a missing symbol, no memory) are always thrown.
extern BOTAN_PKCS11_API ReturnValue* ThrowException;

/// An error of this layer. what() is "PKCS11 error " and the text.
class BOTAN_PKCS11_API PKCS11_Error : public Exception {
 public:
  explicit PKCS11_Error(const std::string& what) : Exception("PKCS11 error", what) {}

  ErrorType error_type() const noexcept override { return ErrorType::Pkcs11Error; }
};

/// A token function returned something other than CKR_OK. what() is "PKCS11 error " and the code's low 32
/// bits in decimal.
class BOTAN_PKCS11_API PKCS11_ReturnError final : public PKCS11_Error {
 public:
  explicit PKCS11_ReturnError(ReturnValue return_value)
      : PKCS11_Error(std::to_string(static_cast<uint32_t>(return_value))), m_return_value(return_value) {}

  /// The code with all its bits.
  ReturnValue get_return_value() const { return m_return_value; }

  int error_code() const noexcept override { return static_cast<int>(static_cast<uint32_t>(m_return_value)); }

 private:
  const ReturnValue m_return_value;
};

/// The functions of a PKCS#11 library, one method each, with the standard's parameters and `rv`, which is
/// described at ThrowException. A function that the list lacks fails with FunctionNotSupported.
///
/// Overloads with containers query the size themselves; if they fail, the content of the container is
/// unspecified. An empty PIN is passed as a null pointer and length 0.
class BOTAN_PKCS11_API LowLevel {
 public:
  /// `ptr` is not owned. Throws Invalid_Argument if it is null.
  explicit LowLevel(FunctionListPtr ptr);

  LowLevel(const LowLevel&) = default;
  LowLevel& operator=(const LowLevel&) = delete;

  // clang-format off

  // General purpose
  bool C_Initialize(VoidPtr init_args, ReturnValue* rv = ThrowException) const
    { return call(&F::C_Initialize, rv, init_args); }
  bool C_Finalize(VoidPtr reserved, ReturnValue* rv = ThrowException) const
    { return call(&F::C_Finalize, rv, reserved); }
  bool C_GetInfo(Info* info, ReturnValue* rv = ThrowException) const { return call(&F::C_GetInfo, rv, info); }
  static bool C_GetFunctionList(Dynamically_Loaded_Library& pkcs11_module,
                                FunctionListPtr* function_list_ptr_ptr, ReturnValue* rv = ThrowException);

  // Slots and tokens
  bool C_GetSlotList(Bbool token_present, SlotId* slots, Ulong* count,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetSlotList, rv, token_present, slots, count); }
  bool C_GetSlotList(bool token_present, std::vector<SlotId>& slots,
                     ReturnValue* rv = ThrowException) const;
  bool C_GetSlotInfo(SlotId slot, SlotInfo* info, ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetSlotInfo, rv, slot, info); }
  bool C_GetTokenInfo(SlotId slot, TokenInfo* info, ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetTokenInfo, rv, slot, info); }
  bool C_WaitForSlotEvent(Flags flags, SlotId* slot, VoidPtr reserved,
                          ReturnValue* rv = ThrowException) const
    { return call(&F::C_WaitForSlotEvent, rv, flags, slot, reserved); }
  bool C_GetMechanismList(SlotId slot, MechanismType* mechanisms, Ulong* count,
                          ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetMechanismList, rv, slot, reinterpret_cast<CK_MECHANISM_TYPE*>(mechanisms),
                  count); }
  bool C_GetMechanismList(SlotId slot, std::vector<MechanismType>& mechanisms,
                          ReturnValue* rv = ThrowException) const;
  bool C_GetMechanismInfo(SlotId slot, MechanismType type, MechanismInfo* info,
                          ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetMechanismInfo, rv, slot, static_cast<CK_MECHANISM_TYPE>(type), info); }
  bool C_InitToken(SlotId slot, Utf8Char* so_pin, Ulong so_pin_len, Utf8Char* label,
                   ReturnValue* rv = ThrowException) const
    { return call(&F::C_InitToken, rv, slot, so_pin, so_pin_len, label); }
  bool C_InitPIN(SessionHandle session, Utf8Char* pin, Ulong pin_len,
                 ReturnValue* rv = ThrowException) const
    { return call(&F::C_InitPIN, rv, session, pin, pin_len); }
  bool C_SetPIN(SessionHandle session, Utf8Char* old_pin, Ulong old_len, Utf8Char* new_pin, Ulong new_len,
                ReturnValue* rv = ThrowException) const
    { return call(&F::C_SetPIN, rv, session, old_pin, old_len, new_pin, new_len); }

  // Sessions
  bool C_OpenSession(SlotId slot, Flags flags, VoidPtr application, Notify notify, SessionHandle* session,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_OpenSession, rv, slot, flags, application, notify, session); }
  bool C_CloseSession(SessionHandle session, ReturnValue* rv = ThrowException) const
    { return call(&F::C_CloseSession, rv, session); }
  bool C_CloseAllSessions(SlotId slot, ReturnValue* rv = ThrowException) const
    { return call(&F::C_CloseAllSessions, rv, slot); }
  bool C_GetSessionInfo(SessionHandle session, SessionInfo* info, ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetSessionInfo, rv, session, info); }
  bool C_GetOperationState(SessionHandle session, Byte* state, Ulong* state_len,
                           ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetOperationState, rv, session, state, state_len); }
  bool C_SetOperationState(SessionHandle session, Byte* state, Ulong state_len, ObjectHandle encryption_key,
                           ObjectHandle authentication_key, ReturnValue* rv = ThrowException) const
    { return call(&F::C_SetOperationState, rv, session, state, state_len, encryption_key,
                  authentication_key); }
  bool C_Login(SessionHandle session, UserType user, Utf8Char* pin, Ulong pin_len,
               ReturnValue* rv = ThrowException) const
    { return call(&F::C_Login, rv, session, static_cast<CK_USER_TYPE>(user), pin, pin_len); }
  bool C_Logout(SessionHandle session, ReturnValue* rv = ThrowException) const
    { return call(&F::C_Logout, rv, session); }

  // Objects
  bool C_CreateObject(SessionHandle session, Attribute* attributes, Ulong count, ObjectHandle* object,
                      ReturnValue* rv = ThrowException) const
    { return call(&F::C_CreateObject, rv, session, attributes, count, object); }
  bool C_CopyObject(SessionHandle session, ObjectHandle object, Attribute* attributes, Ulong count,
                    ObjectHandle* new_object, ReturnValue* rv = ThrowException) const
    { return call(&F::C_CopyObject, rv, session, object, attributes, count, new_object); }
  bool C_DestroyObject(SessionHandle session, ObjectHandle object, ReturnValue* rv = ThrowException) const
    { return call(&F::C_DestroyObject, rv, session, object); }
  bool C_GetObjectSize(SessionHandle session, ObjectHandle object, Ulong* size,
                       ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetObjectSize, rv, session, object, size); }
  bool C_GetAttributeValue(SessionHandle session, ObjectHandle object, Attribute* attributes, Ulong count,
                           ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetAttributeValue, rv, session, object, attributes, count); }
  bool C_SetAttributeValue(SessionHandle session, ObjectHandle object, Attribute* attributes, Ulong count,
                           ReturnValue* rv = ThrowException) const
    { return call(&F::C_SetAttributeValue, rv, session, object, attributes, count); }
  bool C_FindObjectsInit(SessionHandle session, Attribute* attributes, Ulong count,
                         ReturnValue* rv = ThrowException) const
    { return call(&F::C_FindObjectsInit, rv, session, attributes, count); }
  bool C_FindObjects(SessionHandle session, ObjectHandle* objects, Ulong max_count, Ulong* count,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_FindObjects, rv, session, objects, max_count, count); }
  bool C_FindObjectsFinal(SessionHandle session, ReturnValue* rv = ThrowException) const
    { return call(&F::C_FindObjectsFinal, rv, session); }

  // Encryption and decryption
  bool C_EncryptInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_EncryptInit, rv, session, mechanism, key); }
  bool C_Encrypt(SessionHandle session, Byte* data, Ulong data_len, Byte* out, Ulong* out_len,
                 ReturnValue* rv = ThrowException) const
    { return call(&F::C_Encrypt, rv, session, data, data_len, out, out_len); }
  bool C_EncryptUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                       ReturnValue* rv = ThrowException) const
    { return call(&F::C_EncryptUpdate, rv, session, part, part_len, out, out_len); }
  bool C_EncryptFinal(SessionHandle session, Byte* out, Ulong* out_len,
                      ReturnValue* rv = ThrowException) const
    { return call(&F::C_EncryptFinal, rv, session, out, out_len); }
  bool C_DecryptInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_DecryptInit, rv, session, mechanism, key); }
  bool C_Decrypt(SessionHandle session, Byte* data, Ulong data_len, Byte* out, Ulong* out_len,
                 ReturnValue* rv = ThrowException) const
    { return call(&F::C_Decrypt, rv, session, data, data_len, out, out_len); }
  bool C_DecryptUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                       ReturnValue* rv = ThrowException) const
    { return call(&F::C_DecryptUpdate, rv, session, part, part_len, out, out_len); }
  bool C_DecryptFinal(SessionHandle session, Byte* out, Ulong* out_len,
                      ReturnValue* rv = ThrowException) const
    { return call(&F::C_DecryptFinal, rv, session, out, out_len); }

  // Digests
  bool C_DigestInit(SessionHandle session, Mechanism* mechanism, ReturnValue* rv = ThrowException) const
    { return call(&F::C_DigestInit, rv, session, mechanism); }
  bool C_Digest(SessionHandle session, Byte* data, Ulong data_len, Byte* out, Ulong* out_len,
                ReturnValue* rv = ThrowException) const
    { return call(&F::C_Digest, rv, session, data, data_len, out, out_len); }
  bool C_DigestUpdate(SessionHandle session, Byte* part, Ulong part_len,
                      ReturnValue* rv = ThrowException) const
    { return call(&F::C_DigestUpdate, rv, session, part, part_len); }
  bool C_DigestKey(SessionHandle session, ObjectHandle key, ReturnValue* rv = ThrowException) const
    { return call(&F::C_DigestKey, rv, session, key); }
  bool C_DigestFinal(SessionHandle session, Byte* out, Ulong* out_len,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_DigestFinal, rv, session, out, out_len); }

  // Signatures
  bool C_SignInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                  ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignInit, rv, session, mechanism, key); }
  bool C_Sign(SessionHandle session, Byte* data, Ulong data_len, Byte* signature, Ulong* signature_len,
              ReturnValue* rv = ThrowException) const
    { return call(&F::C_Sign, rv, session, data, data_len, signature, signature_len); }
  bool C_SignUpdate(SessionHandle session, Byte* part, Ulong part_len,
                    ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignUpdate, rv, session, part, part_len); }
  bool C_SignFinal(SessionHandle session, Byte* signature, Ulong* signature_len,
                   ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignFinal, rv, session, signature, signature_len); }
  bool C_SignRecoverInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                         ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignRecoverInit, rv, session, mechanism, key); }
  bool C_SignRecover(SessionHandle session, Byte* data, Ulong data_len, Byte* signature,
                     Ulong* signature_len, ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignRecover, rv, session, data, data_len, signature, signature_len); }
  bool C_VerifyInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                    ReturnValue* rv = ThrowException) const
    { return call(&F::C_VerifyInit, rv, session, mechanism, key); }
  bool C_Verify(SessionHandle session, Byte* data, Ulong data_len, Byte* signature, Ulong signature_len,
                ReturnValue* rv = ThrowException) const
    { return call(&F::C_Verify, rv, session, data, data_len, signature, signature_len); }
  bool C_VerifyUpdate(SessionHandle session, Byte* part, Ulong part_len,
                      ReturnValue* rv = ThrowException) const
    { return call(&F::C_VerifyUpdate, rv, session, part, part_len); }
  bool C_VerifyFinal(SessionHandle session, Byte* signature, Ulong signature_len,
                     ReturnValue* rv = ThrowException) const
    { return call(&F::C_VerifyFinal, rv, session, signature, signature_len); }
  bool C_VerifyRecoverInit(SessionHandle session, Mechanism* mechanism, ObjectHandle key,
                           ReturnValue* rv = ThrowException) const
    { return call(&F::C_VerifyRecoverInit, rv, session, mechanism, key); }
  bool C_VerifyRecover(SessionHandle session, Byte* signature, Ulong signature_len, Byte* data,
                       Ulong* data_len, ReturnValue* rv = ThrowException) const
    { return call(&F::C_VerifyRecover, rv, session, signature, signature_len, data, data_len); }

  // Two operations at once
  bool C_DigestEncryptUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                             ReturnValue* rv = ThrowException) const
    { return call(&F::C_DigestEncryptUpdate, rv, session, part, part_len, out, out_len); }
  bool C_DecryptDigestUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                             ReturnValue* rv = ThrowException) const
    { return call(&F::C_DecryptDigestUpdate, rv, session, part, part_len, out, out_len); }
  bool C_SignEncryptUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                           ReturnValue* rv = ThrowException) const
    { return call(&F::C_SignEncryptUpdate, rv, session, part, part_len, out, out_len); }
  bool C_DecryptVerifyUpdate(SessionHandle session, Byte* part, Ulong part_len, Byte* out, Ulong* out_len,
                             ReturnValue* rv = ThrowException) const
    { return call(&F::C_DecryptVerifyUpdate, rv, session, part, part_len, out, out_len); }

  // Keys
  bool C_GenerateKey(SessionHandle session, Mechanism* mechanism, Attribute* attributes, Ulong count,
                     ObjectHandle* key, ReturnValue* rv = ThrowException) const
    { return call(&F::C_GenerateKey, rv, session, mechanism, attributes, count, key); }
  bool C_GenerateKeyPair(SessionHandle session, Mechanism* mechanism, Attribute* public_attributes,
                         Ulong public_count, Attribute* private_attributes, Ulong private_count,
                         ObjectHandle* public_key, ObjectHandle* private_key,
                         ReturnValue* rv = ThrowException) const
    { return call(&F::C_GenerateKeyPair, rv, session, mechanism, public_attributes, public_count,
                  private_attributes, private_count, public_key, private_key); }
  bool C_WrapKey(SessionHandle session, Mechanism* mechanism, ObjectHandle wrapping_key, ObjectHandle key,
                 Byte* wrapped_key, Ulong* wrapped_key_len, ReturnValue* rv = ThrowException) const
    { return call(&F::C_WrapKey, rv, session, mechanism, wrapping_key, key, wrapped_key, wrapped_key_len); }
  bool C_UnwrapKey(SessionHandle session, Mechanism* mechanism, ObjectHandle unwrapping_key,
                   Byte* wrapped_key, Ulong wrapped_key_len, Attribute* attributes, Ulong count,
                   ObjectHandle* key, ReturnValue* rv = ThrowException) const
    { return call(&F::C_UnwrapKey, rv, session, mechanism, unwrapping_key, wrapped_key, wrapped_key_len,
                  attributes, count, key); }
  bool C_DeriveKey(SessionHandle session, Mechanism* mechanism, ObjectHandle base_key,
                   Attribute* attributes, Ulong count, ObjectHandle* key,
                   ReturnValue* rv = ThrowException) const
    { return call(&F::C_DeriveKey, rv, session, mechanism, base_key, attributes, count, key); }

  // Random numbers
  bool C_SeedRandom(SessionHandle session, Byte* seed, Ulong seed_len,
                    ReturnValue* rv = ThrowException) const
    { return call(&F::C_SeedRandom, rv, session, seed, seed_len); }
  bool C_GenerateRandom(SessionHandle session, Byte* random, Ulong random_len,
                        ReturnValue* rv = ThrowException) const
    { return call(&F::C_GenerateRandom, rv, session, random, random_len); }

  // Parallel functions (obsolete)
  bool C_GetFunctionStatus(SessionHandle session, ReturnValue* rv = ThrowException) const
    { return call(&F::C_GetFunctionStatus, rv, session); }
  bool C_CancelFunction(SessionHandle session, ReturnValue* rv = ThrowException) const
    { return call(&F::C_CancelFunction, rv, session); }
  // clang-format on

  /// `label` is padded with blanks to 32 bytes.
  template <typename TAlloc>
  bool C_InitToken(SlotId slot, const std::vector<uint8_t, TAlloc>& so_pin, const std::string& label,
                   ReturnValue* rv = ThrowException) const {
    std::string padded = label;
    if (padded.size() < 32) {
      padded.resize(32, ' ');
    }
    return C_InitToken(slot, pin_bytes(so_pin), so_pin.size(), reinterpret_cast<Utf8Char*>(&padded[0]), rv);
  }

  template <typename TAlloc>
  bool C_InitPIN(SessionHandle session, const std::vector<uint8_t, TAlloc>& pin,
                 ReturnValue* rv = ThrowException) const {
    return C_InitPIN(session, pin_bytes(pin), pin.size(), rv);
  }

  template <typename TAlloc>
  bool C_SetPIN(SessionHandle session, const std::vector<uint8_t, TAlloc>& old_pin,
                const std::vector<uint8_t, TAlloc>& new_pin, ReturnValue* rv = ThrowException) const {
    return C_SetPIN(session, pin_bytes(old_pin), old_pin.size(), pin_bytes(new_pin), new_pin.size(), rv);
  }

  template <typename TAlloc>
  bool C_Login(SessionHandle session, UserType user, const std::vector<uint8_t, TAlloc>& pin,
               ReturnValue* rv = ThrowException) const {
    return C_Login(session, user, pin_bytes(pin), pin.size(), rv);
  }

  /// Reads the attributes that are the keys of `values`, in two calls for all of them together.
  template <typename TAlloc>
  bool C_GetAttributeValue(SessionHandle session, ObjectHandle object,
                           std::map<AttributeType, std::vector<uint8_t, TAlloc>>& values,
                           ReturnValue* rv = ThrowException) const {
    std::vector<Attribute> attributes;
    for (const auto& value : values) {
      attributes.push_back(Attribute{static_cast<CK_ATTRIBUTE_TYPE>(value.first), nullptr, 0});
    }
    if (!C_GetAttributeValue(session, object, attributes.data(), attributes.size(), rv)) {
      return false;
    }
    auto attribute = attributes.begin();
    for (auto& value : values) {
      value.second.clear();
      value.second.resize(attribute->ulValueLen);
      attribute->pValue = value.second.data();
      ++attribute;
    }
    if (!C_GetAttributeValue(session, object, attributes.data(), attributes.size(), rv)) {
      return false;
    }
    attribute = attributes.begin();
    for (auto& value : values) {
      value.second.resize(std::min<size_t>(value.second.size(), attribute->ulValueLen));
      ++attribute;
    }
    return true;
  }

  template <typename TAlloc>
  bool C_SetAttributeValue(SessionHandle session, ObjectHandle object,
                           std::map<AttributeType, std::vector<uint8_t, TAlloc>>& values,
                           ReturnValue* rv = ThrowException) const {
    std::vector<Attribute> attributes;
    for (auto& value : values) {
      attributes.push_back(
          Attribute{static_cast<CK_ATTRIBUTE_TYPE>(value.first), value.second.data(), value.second.size()});
    }
    return C_SetAttributeValue(session, object, attributes.data(), attributes.size(), rv);
  }

  template <typename TAllocA, typename TAllocB>
  bool C_Encrypt(SessionHandle session, const std::vector<uint8_t, TAllocA>& data,
                 std::vector<uint8_t, TAllocB>& encrypted, ReturnValue* rv = ThrowException) const {
    return read_output(encrypted, [&](Byte* to, Ulong* size) {
      return C_Encrypt(session, bytes(data), data.size(), to, size, rv);
    });
  }

  template <typename TAllocA, typename TAllocB>
  bool C_Decrypt(SessionHandle session, const std::vector<uint8_t, TAllocA>& encrypted,
                 std::vector<uint8_t, TAllocB>& data, ReturnValue* rv = ThrowException) const {
    return read_output(data, [&](Byte* to, Ulong* size) {
      return C_Decrypt(session, bytes(encrypted), encrypted.size(), to, size, rv);
    });
  }

  template <typename TAllocA, typename TAllocB>
  bool C_Sign(SessionHandle session, const std::vector<uint8_t, TAllocA>& data,
              std::vector<uint8_t, TAllocB>& signature, ReturnValue* rv = ThrowException) const {
    return read_output(signature, [&](Byte* to, Ulong* size) {
      return C_Sign(session, bytes(data), data.size(), to, size, rv);
    });
  }

  template <typename TAlloc>
  bool C_SignUpdate(SessionHandle session, const std::vector<uint8_t, TAlloc>& part,
                    ReturnValue* rv = ThrowException) const {
    return C_SignUpdate(session, bytes(part), part.size(), rv);
  }

  template <typename TAlloc>
  bool C_SignFinal(SessionHandle session, std::vector<uint8_t, TAlloc>& signature,
                   ReturnValue* rv = ThrowException) const {
    return read_output(signature, [&](Byte* to, Ulong* size) { return C_SignFinal(session, to, size, rv); });
  }

  template <typename TAllocA, typename TAllocB>
  bool C_Verify(SessionHandle session, const std::vector<uint8_t, TAllocA>& data,
                std::vector<uint8_t, TAllocB>& signature, ReturnValue* rv = ThrowException) const {
    return C_Verify(session, bytes(data), data.size(), bytes(signature), signature.size(), rv);
  }

  template <typename TAlloc>
  bool C_VerifyUpdate(SessionHandle session, std::vector<uint8_t, TAlloc> part,
                      ReturnValue* rv = ThrowException) const {
    return C_VerifyUpdate(session, part.data(), part.size(), rv);
  }

 private:
  using F = CK_FUNCTION_LIST;

  /// Cryptoki does not change its input, but takes it by pointers that are not const.
  template <typename TAlloc>
  static Byte* bytes(const std::vector<uint8_t, TAlloc>& data) {
    return const_cast<Byte*>(data.data());
  }

  /// With a null pointer the token asks for the PIN itself, on a keypad for instance.
  template <typename TAlloc>
  static Byte* pin_bytes(const std::vector<uint8_t, TAlloc>& pin) {
    return pin.empty() ? nullptr : bytes(pin);
  }

  template <typename... Parameters, typename... Arguments>
  bool call(CK_RV (*F::*function)(Parameters...), ReturnValue* rv, Arguments... arguments) const {
    const auto pointer = m_func_list_ptr->*function;
    return check(pointer ? pointer(arguments...) : CKR_FUNCTION_NOT_SUPPORTED, rv);
  }

  static bool check(CK_RV result, ReturnValue* rv);

  /// Two calls (PKCS#11 2.40, section 5.2): the first returns the size, the second the content, which may be
  /// shorter.
  template <typename TAlloc, typename Function>
  static bool read_output(std::vector<uint8_t, TAlloc>& out, Function function) {
    Ulong size = 0;
    if (!function(nullptr, &size)) {
      return false;
    }
    out.resize(size);
    if (!function(out.data(), &size)) {
      return false;
    }
    out.resize(std::min<size_t>(out.size(), size));
    return true;
  }

  const FunctionListPtr m_func_list_ptr;
};

}  // namespace PKCS11
}  // namespace Botan
