// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11.h>

#include "declared.h"

using namespace Botan::PKCS11;

// clang-format off
template struct Same<
    secure_string, Botan::secure_vector<uint8_t>,  Ulong, CK_ULONG,
    Byte, CK_BYTE,                                 Bbool, CK_BBOOL,
    Utf8Char, CK_UTF8CHAR,                         VoidPtr, CK_VOID_PTR,
    SlotId, CK_SLOT_ID,                            SessionHandle, CK_SESSION_HANDLE,
    ObjectHandle, CK_OBJECT_HANDLE,                Flags, CK_FLAGS,
    Attribute, CK_ATTRIBUTE,                       Mechanism, CK_MECHANISM,
    MechanismInfo, CK_MECHANISM_INFO,              Info, CK_INFO,
    SlotInfo, CK_SLOT_INFO,                        TokenInfo, CK_TOKEN_INFO,
    SessionInfo, CK_SESSION_INFO,                  Date, CK_DATE,
    Notify, CK_NOTIFY,                             FunctionListPtr, CK_FUNCTION_LIST_PTR,
    C_InitializeArgs, CK_C_INITIALIZE_ARGS,        CreateMutex, CK_CREATEMUTEX,
    DestroyMutex, CK_DESTROYMUTEX,                 LockMutex, CK_LOCKMUTEX,
    UnlockMutex, CK_UNLOCKMUTEX,                   RsaPkcsOaepParams, CK_RSA_PKCS_OAEP_PARAMS,
    RsaPkcsPssParams, CK_RSA_PKCS_PSS_PARAMS,      Ecdh1DeriveParams, CK_ECDH1_DERIVE_PARAMS,
    decltype(True), const Bbool,                   decltype(False), const Bbool,
    decltype(ThrowException), ReturnValue*,        decltype(NULL_PTR), std::nullptr_t>;

template <typename Enum> using Number = typename std::underlying_type<Enum>::type;
template struct Same<
    Number<AttributeType>, CK_ATTRIBUTE_TYPE,      Number<CertificateType>, CK_CERTIFICATE_TYPE,
    Number<CertificateCategory>, CK_ULONG,         Number<KeyDerivation>, CK_ULONG,
    Number<Flag>, CK_FLAGS,                        Number<MGF>, CK_RSA_PKCS_MGF_TYPE,
    Number<HardwareType>, CK_HW_FEATURE_TYPE,      Number<KeyType>, CK_KEY_TYPE,
    Number<MechanismType>, CK_MECHANISM_TYPE,      Number<Notification>, CK_NOTIFICATION,
    Number<ObjectClass>, CK_OBJECT_CLASS,          Number<SessionState>, CK_STATE,
    Number<ReturnValue>, CK_RV,                    Number<UserType>, CK_USER_TYPE,
    Number<PublicPointEncoding>, uint32_t,
    Number<PseudoRandom>, CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE,
    CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE, CK_ULONG,
    CK_CERTIFICATE_CATEGORY, CK_ULONG,             CK_EC_KDF_TYPE, CK_ULONG>;
// clang-format on

static_assert(True == CK_TRUE && False == CK_FALSE && CK_TRUE == 1 && CK_FALSE == 0, "");
static_assert(Flag::None == Flag(0), "");
static_assert(PublicPointEncoding::Raw == PublicPointEncoding(0), "");
static_assert(PublicPointEncoding::Der == PublicPointEncoding(1), "");

// What p11-kit's header lacks or has wrong; constants.awk compares the rest with it.
#define CONSTANT(enumerator, c_name, number) \
  static_assert(enumerator == static_cast<decltype(enumerator)>(number) && c_name == number, #c_name)

CONSTANT(AttributeType::SubprimeBits, CKA_SUBPRIME_BITS, 0x134);
CONSTANT(CertificateCategory::Unspecified, CK_CERTIFICATE_CATEGORY_UNSPECIFIED, 0);
CONSTANT(CertificateCategory::TokenUser, CK_CERTIFICATE_CATEGORY_TOKEN_USER, 1);
CONSTANT(CertificateCategory::Authority, CK_CERTIFICATE_CATEGORY_AUTHORITY, 2);
CONSTANT(CertificateCategory::OtherEntity, CK_CERTIFICATE_CATEGORY_OTHER_ENTITY, 3);
CONSTANT(Flag::EcF2m, CKF_EC_F_2M, 0x200000);
CONSTANT(Flag::EcEcparameters, CKF_EC_ECPARAMETERS, 0x400000);
CONSTANT(Flag::ErrorState, CKF_ERROR_STATE, 0x1000000);
CONSTANT(KeyType::Cast5, CKK_CAST5, 0x18);
CONSTANT(MechanismType::KeaDerive, CKM_KEA_DERIVE, 0x1012);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha1, CKP_PKCS5_PBKD2_HMAC_SHA1, 1);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacGostr3411, CKP_PKCS5_PBKD2_HMAC_GOSTR3411, 2);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha224, CKP_PKCS5_PBKD2_HMAC_SHA224, 3);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha256, CKP_PKCS5_PBKD2_HMAC_SHA256, 4);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha384, CKP_PKCS5_PBKD2_HMAC_SHA384, 5);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha512, CKP_PKCS5_PBKD2_HMAC_SHA512, 6);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha512224, CKP_PKCS5_PBKD2_HMAC_SHA512_224, 7);
CONSTANT(PseudoRandom::Pkcs5Pbkd2HmacSha512256, CKP_PKCS5_PBKD2_HMAC_SHA512_256, 8);
CONSTANT(ReturnValue::ExceededMaxIterations, CKR_EXCEEDED_MAX_ITERATIONS, 0x1B5);
CONSTANT(ReturnValue::FipsSelfTestFailed, CKR_FIPS_SELF_TEST_FAILED, 0x1B6);
CONSTANT(ReturnValue::LibraryLoadFailed, CKR_LIBRARY_LOAD_FAILED, 0x1B7);
CONSTANT(ReturnValue::PinTooWeak, CKR_PIN_TOO_WEAK, 0x1B8);
CONSTANT(ReturnValue::PublicKeyInvalid, CKR_PUBLIC_KEY_INVALID, 0x1B9);

template struct Constructs<PKCS11_Error, const std::string&>;
template struct Constructs<PKCS11_ReturnError, ReturnValue>;
template struct Class<PKCS11_ReturnError, kCopies + kMoves + kVirtual + kFinal, PKCS11_Error,
                      Botan::Exception>;
static_assert(noexcept(std::declval<PKCS11_Error>().error_type()), "");
static_assert(noexcept(std::declval<PKCS11_ReturnError>().error_code()), "");

// Programs may have these as their own.
template <typename F>
auto more_operators(F flag) -> decltype(flag & flag);
template <typename F>
auto more_operators(F flag) -> decltype(~flag);
template <typename F>
auto more_operators(F flag) -> decltype(flag |= flag);
void more_operators(...);
template struct Same<decltype(more_operators(Flag::None)), void>;

void functions_and_errors() {
  has<Flag(Flag, Flag)>(Botan::PKCS11::operator|);
  has<Flags(Flag)>(flags);
  has<void(Slot&, const std::string&, const secure_string&, const secure_string&)>(initialize_token);
  has<void(Slot&, const secure_string&, const secure_string&)>(change_pin);
  has<void(Slot&, const secure_string&, const secure_string&)>(change_so_pin);
  has<void(Slot&, const secure_string&, const secure_string&)>(set_pin);
  has<PKCS11_Error, Botan::ErrorType() const>({&PKCS11_Error::error_type});
  has<PKCS11_ReturnError, ReturnValue() const>({&PKCS11_ReturnError::get_return_value});
  has<PKCS11_ReturnError, int() const>({&PKCS11_ReturnError::error_code});
  keep(ThrowException);
}
