// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_cryptoki.h>
#include <botan/secmem.h>

#include <cstdint>

namespace Botan {
namespace PKCS11 {

// The constants of PKCS#11 2.40. A name is the standard's without its prefix, its words joined (CKA_EC_PARAMS
// is AttributeType::EcParams); the exceptions are ReturnValue::OK and UserType::SO. Some values have two
// names. Vendor-defined values are casts of VendorDefined plus a number. The numbers are written out because
// p11-kit's header has some of them wrong.
// clang-format off

/// CKA_.
enum class AttributeType : CK_ATTRIBUTE_TYPE {
  Class = 0, Token = 1, Private = 2, Label = 3, Application = 0x10, Value = 0x11, ObjectId = 0x12,
  CertificateType = 0x80, Issuer = 0x81, SerialNumber = 0x82, AcIssuer = 0x83, Owner = 0x84,
  AttrTypes = 0x85, Trusted = 0x86, CertificateCategory = 0x87, JavaMidpSecurityDomain = 0x88,
  Url = 0x89, HashOfSubjectPublicKey = 0x8a, HashOfIssuerPublicKey = 0x8b, NameHashAlgorithm = 0x8c,
  CheckValue = 0x90, KeyType = 0x100, Subject = 0x101, Id = 0x102, Sensitive = 0x103, Encrypt = 0x104,
  Decrypt = 0x105, Wrap = 0x106, Unwrap = 0x107, Sign = 0x108, SignRecover = 0x109, Verify = 0x10a,
  VerifyRecover = 0x10b, Derive = 0x10c, StartDate = 0x110, EndDate = 0x111, Modulus = 0x120,
  ModulusBits = 0x121, PublicExponent = 0x122, PrivateExponent = 0x123, Prime1 = 0x124, Prime2 = 0x125,
  Exponent1 = 0x126, Exponent2 = 0x127, Coefficient = 0x128, PublicKeyInfo = 0x129, Prime = 0x130,
  Subprime = 0x131, Base = 0x132, PrimeBits = 0x133, SubPrimeBits = 0x134, SubprimeBits = 0x134,
  ValueBits = 0x160, ValueLen = 0x161, Extractable = 0x162, Local = 0x163, NeverExtractable = 0x164,
  AlwaysSensitive = 0x165, KeyGenMechanism = 0x166, Modifiable = 0x170, Copyable = 0x171,
  Destroyable = 0x172, EcdsaParams = 0x180, EcParams = 0x180, EcPoint = 0x181, SecondaryAuth = 0x200,
  AuthPinFlags = 0x201, AlwaysAuthenticate = 0x202, WrapWithTrusted = 0x210, OtpFormat = 0x220,
  OtpLength = 0x221, OtpTimeInterval = 0x222, OtpUserFriendlyMode = 0x223,
  OtpChallengeRequirement = 0x224, OtpTimeRequirement = 0x225, OtpCounterRequirement = 0x226,
  OtpPinRequirement = 0x227, OtpUserIdentifier = 0x22a, OtpServiceIdentifier = 0x22b,
  OtpServiceLogo = 0x22c, OtpServiceLogoType = 0x22d, OtpCounter = 0x22e, OtpTime = 0x22f,
  Gostr3410Params = 0x250, Gostr3411Params = 0x251, Gost28147Params = 0x252, HwFeatureType = 0x300,
  ResetOnInit = 0x301, HasReset = 0x302, PixelX = 0x400, PixelY = 0x401, Resolution = 0x402,
  CharRows = 0x403, CharColumns = 0x404, Color = 0x405, BitsPerPixel = 0x406, CharSets = 0x480,
  EncodingMethods = 0x481, MimeTypes = 0x482, MechanismType = 0x500, RequiredCmsAttributes = 0x501,
  DefaultCmsAttributes = 0x502, SupportedCmsAttributes = 0x503, WrapTemplate = 0x40000211,
  UnwrapTemplate = 0x40000212, DeriveTemplate = 0x40000213, AllowedMechanisms = 0x40000600,
  VendorDefined = 0x80000000
};

/// CKC_.
enum class CertificateType : CK_CERTIFICATE_TYPE {
  X509 = 0, X509AttrCert = 1, Wtls = 2, VendorDefined = 0x80000000
};

/// CK_CERTIFICATE_CATEGORY_.
enum class CertificateCategory : CK_CERTIFICATE_CATEGORY {
  Unspecified = 0, TokenUser = 1, Authority = 2, OtherEntity = 3
};

/// CKD_.
enum class KeyDerivation : CK_ULONG {
  Null = 1, Sha1Kdf = 2, Sha1KdfAsn1 = 3, Sha1KdfConcatenate = 4, Sha224Kdf = 5, Sha256Kdf = 6,
  Sha384Kdf = 7, Sha512Kdf = 8, CpdiversifyKdf = 9
};

/// CKF_. The meaning of a bit depends on the structure or call that it is used in.
enum class Flag : CK_FLAGS {
  None = 0,
  // slots
  TokenPresent = 1, RemovableDevice = 2, HwSlot = 4,
  // tokens
  Rng = 1, WriteProtected = 2, LoginRequired = 4, UserPinInitialized = 8, RestoreKeyNotNeeded = 0x20,
  ClockOnToken = 0x40, ProtectedAuthenticationPath = 0x100, DualCryptoOperations = 0x200,
  TokenInitialized = 0x400, SecondaryAuthentication = 0x800, UserPinCountLow = 0x10000,
  UserPinFinalTry = 0x20000, UserPinLocked = 0x40000, UserPinToBeChanged = 0x80000,
  SoPinCountLow = 0x100000, SoPinFinalTry = 0x200000, SoPinLocked = 0x400000,
  SoPinToBeChanged = 0x800000, ErrorState = 0x1000000,
  // sessions, C_Initialize, C_WaitForSlotEvent
  RwSession = 2, SerialSession = 4, LibraryCantCreateOsThreads = 1, OsLockingOk = 2, DontBlock = 1,
  // mechanisms
  Hw = 1, Encrypt = 0x100, Decrypt = 0x200, Digest = 0x400, Sign = 0x800, SignRecover = 0x1000,
  Verify = 0x2000, VerifyRecover = 0x4000, Generate = 0x8000, GenerateKeyPair = 0x10000, Wrap = 0x20000,
  Unwrap = 0x40000, Derive = 0x80000, EcFP = 0x100000, EcF2m = 0x200000, EcEcparameters = 0x400000,
  EcNamedcurve = 0x800000, EcUncompress = 0x1000000, EcCompress = 0x2000000, Extension = 0x80000000,
  // one-time passwords
  NextOtp = 1, ExcludeTime = 2, ExcludeCounter = 4, ExcludeChallenge = 8, ExcludePin = 0x10,
  UserFriendlyOtp = 0x20,
  // attribute types whose value is an array
  ArrayAttribute = 0x40000000
};

/// Mask generation functions of RSA (CKG_).
enum class MGF : CK_RSA_PKCS_MGF_TYPE {
  Mgf1Sha1 = 1, Mgf1Sha256 = 2, Mgf1Sha384 = 3, Mgf1Sha512 = 4, Mgf1Sha224 = 5
};

/// CKH_.
enum class HardwareType : CK_HW_FEATURE_TYPE {
  MonotonicCounter = 1, Clock = 2, UserInterface = 3, VendorDefined = 0x80000000
};

/// CKK_.
enum class KeyType : CK_KEY_TYPE {
  Rsa = 0, Dsa = 1, Dh = 2, Ecdsa = 3, Ec = 3, X942Dh = 4, Kea = 5, GenericSecret = 0x10, Rc2 = 0x11,
  Rc4 = 0x12, Des = 0x13, Des2 = 0x14, Des3 = 0x15, Cast = 0x16, Cast3 = 0x17, Cast128 = 0x18,
  Cast5 = 0x18, Rc5 = 0x19, Idea = 0x1a, Skipjack = 0x1b, Baton = 0x1c, Juniper = 0x1d, Cdmf = 0x1e,
  Aes = 0x1f, Blowfish = 0x20, Twofish = 0x21, Securid = 0x22, Hotp = 0x23, Acti = 0x24, Camellia = 0x25,
  Aria = 0x26, Md5Hmac = 0x27, Sha1Hmac = 0x28, Ripemd128Hmac = 0x29, Ripemd160Hmac = 0x2a,
  Sha256Hmac = 0x2b, Sha384Hmac = 0x2c, Sha512Hmac = 0x2d, Sha224Hmac = 0x2e, Seed = 0x2f,
  Gostr3410 = 0x30, Gostr3411 = 0x31, Gost28147 = 0x32, VendorDefined = 0x80000000
};

/// CKM_.
enum class MechanismType : CK_MECHANISM_TYPE {
  RsaPkcsKeyPairGen = 0, RsaPkcs = 1, Rsa9796 = 2, RsaX509 = 3, Md2RsaPkcs = 4, Md5RsaPkcs = 5,
  Sha1RsaPkcs = 6, Ripemd128RsaPkcs = 7, Ripemd160RsaPkcs = 8, RsaPkcsOaep = 9, RsaX931KeyPairGen = 0xa,
  RsaX931 = 0xb, Sha1RsaX931 = 0xc, RsaPkcsPss = 0xd, Sha1RsaPkcsPss = 0xe, DsaKeyPairGen = 0x10,
  Dsa = 0x11, DsaSha1 = 0x12, DsaSha224 = 0x13, DsaSha256 = 0x14, DsaSha384 = 0x15, DsaSha512 = 0x16,
  DhPkcsKeyPairGen = 0x20, DhPkcsDerive = 0x21, X942DhKeyPairGen = 0x30, X942DhDerive = 0x31,
  X942DhHybridDerive = 0x32, X942MqvDerive = 0x33, Sha256RsaPkcs = 0x40, Sha384RsaPkcs = 0x41,
  Sha512RsaPkcs = 0x42, Sha256RsaPkcsPss = 0x43, Sha384RsaPkcsPss = 0x44, Sha512RsaPkcsPss = 0x45,
  Sha224RsaPkcs = 0x46, Sha224RsaPkcsPss = 0x47, Sha512224 = 0x48, Sha512224Hmac = 0x49,
  Sha512224HmacGeneral = 0x4a, Sha512224KeyDerivation = 0x4b, Sha512256 = 0x4c, Sha512256Hmac = 0x4d,
  Sha512256HmacGeneral = 0x4e, Sha512256KeyDerivation = 0x4f, Sha512T = 0x50, Sha512THmac = 0x51,
  Sha512THmacGeneral = 0x52, Sha512TKeyDerivation = 0x53, Rc2KeyGen = 0x100, Rc2Ecb = 0x101,
  Rc2Cbc = 0x102, Rc2Mac = 0x103, Rc2MacGeneral = 0x104, Rc2CbcPad = 0x105, Rc4KeyGen = 0x110,
  Rc4 = 0x111, DesKeyGen = 0x120, DesEcb = 0x121, DesCbc = 0x122, DesMac = 0x123, DesMacGeneral = 0x124,
  DesCbcPad = 0x125, Des2KeyGen = 0x130, Des3KeyGen = 0x131, Des3Ecb = 0x132, Des3Cbc = 0x133,
  Des3Mac = 0x134, Des3MacGeneral = 0x135, Des3CbcPad = 0x136, Des3CmacGeneral = 0x137, Des3Cmac = 0x138,
  CdmfKeyGen = 0x140, CdmfEcb = 0x141, CdmfCbc = 0x142, CdmfMac = 0x143, CdmfMacGeneral = 0x144,
  CdmfCbcPad = 0x145, DesOfb64 = 0x150, DesOfb8 = 0x151, DesCfb64 = 0x152, DesCfb8 = 0x153, Md2 = 0x200,
  Md2Hmac = 0x201, Md2HmacGeneral = 0x202, Md5 = 0x210, Md5Hmac = 0x211, Md5HmacGeneral = 0x212,
  Sha1 = 0x220, Sha1Hmac = 0x221, Sha1HmacGeneral = 0x222, Ripemd128 = 0x230, Ripemd128Hmac = 0x231,
  Ripemd128HmacGeneral = 0x232, Ripemd160 = 0x240, Ripemd160Hmac = 0x241, Ripemd160HmacGeneral = 0x242,
  Sha256 = 0x250, Sha256Hmac = 0x251, Sha256HmacGeneral = 0x252, Sha224 = 0x255, Sha224Hmac = 0x256,
  Sha224HmacGeneral = 0x257, Sha384 = 0x260, Sha384Hmac = 0x261, Sha384HmacGeneral = 0x262,
  Sha512 = 0x270, Sha512Hmac = 0x271, Sha512HmacGeneral = 0x272, SecuridKeyGen = 0x280, Securid = 0x282,
  HotpKeyGen = 0x290, Hotp = 0x291, Acti = 0x2a0, ActiKeyGen = 0x2a1, CastKeyGen = 0x300,
  CastEcb = 0x301, CastCbc = 0x302, CastMac = 0x303, CastMacGeneral = 0x304, CastCbcPad = 0x305,
  Cast3KeyGen = 0x310, Cast3Ecb = 0x311, Cast3Cbc = 0x312, Cast3Mac = 0x313, Cast3MacGeneral = 0x314,
  Cast3CbcPad = 0x315, Cast5KeyGen = 0x320, Cast128KeyGen = 0x320, Cast5Ecb = 0x321, Cast128Ecb = 0x321,
  Cast5Cbc = 0x322, Cast128Cbc = 0x322, Cast5Mac = 0x323, Cast128Mac = 0x323, Cast5MacGeneral = 0x324,
  Cast128MacGeneral = 0x324, Cast5CbcPad = 0x325, Cast128CbcPad = 0x325, Rc5KeyGen = 0x330,
  Rc5Ecb = 0x331, Rc5Cbc = 0x332, Rc5Mac = 0x333, Rc5MacGeneral = 0x334, Rc5CbcPad = 0x335,
  IdeaKeyGen = 0x340, IdeaEcb = 0x341, IdeaCbc = 0x342, IdeaMac = 0x343, IdeaMacGeneral = 0x344,
  IdeaCbcPad = 0x345, GenericSecretKeyGen = 0x350, ConcatenateBaseAndKey = 0x360,
  ConcatenateBaseAndData = 0x362, ConcatenateDataAndBase = 0x363, XorBaseAndData = 0x364,
  ExtractKeyFromKey = 0x365, Ssl3PreMasterKeyGen = 0x370, Ssl3MasterKeyDerive = 0x371,
  Ssl3KeyAndMacDerive = 0x372, Ssl3MasterKeyDeriveDh = 0x373, TlsPreMasterKeyGen = 0x374,
  TlsMasterKeyDerive = 0x375, TlsKeyAndMacDerive = 0x376, TlsMasterKeyDeriveDh = 0x377, TlsPrf = 0x378,
  Ssl3Md5Mac = 0x380, Ssl3Sha1Mac = 0x381, Md5KeyDerivation = 0x390, Md2KeyDerivation = 0x391,
  Sha1KeyDerivation = 0x392, Sha256KeyDerivation = 0x393, Sha384KeyDerivation = 0x394,
  Sha512KeyDerivation = 0x395, Sha224KeyDerivation = 0x396, PbeMd2DesCbc = 0x3a0, PbeMd5DesCbc = 0x3a1,
  PbeMd5CastCbc = 0x3a2, PbeMd5Cast3Cbc = 0x3a3, PbeMd5Cast5Cbc = 0x3a4, PbeMd5Cast128Cbc = 0x3a4,
  PbeSha1Cast5Cbc = 0x3a5, PbeSha1Cast128Cbc = 0x3a5, PbeSha1Rc4128 = 0x3a6, PbeSha1Rc440 = 0x3a7,
  PbeSha1Des3EdeCbc = 0x3a8, PbeSha1Des2EdeCbc = 0x3a9, PbeSha1Rc2128Cbc = 0x3aa,
  PbeSha1Rc240Cbc = 0x3ab, Pkcs5Pbkd2 = 0x3b0, PbaSha1WithSha1Hmac = 0x3c0, WtlsPreMasterKeyGen = 0x3d0,
  WtlsMasterKeyDerive = 0x3d1, WtlsMasterKeyDeriveDhEcc = 0x3d2, WtlsPrf = 0x3d3,
  WtlsServerKeyAndMacDerive = 0x3d4, WtlsClientKeyAndMacDerive = 0x3d5, Tls10MacServer = 0x3d6,
  Tls10MacClient = 0x3d7, Tls12Mac = 0x3d8, Tls12Kdf = 0x3d9, Tls12MasterKeyDerive = 0x3e0,
  Tls12KeyAndMacDerive = 0x3e1, Tls12MasterKeyDeriveDh = 0x3e2, Tls12KeySafeDerive = 0x3e3,
  TlsMac = 0x3e4, TlsKdf = 0x3e5, KeyWrapLynks = 0x400, KeyWrapSetOaep = 0x401, CmsSig = 0x500,
  KipDerive = 0x510, KipWrap = 0x511, KipMac = 0x512, CamelliaKeyGen = 0x550, CamelliaEcb = 0x551,
  CamelliaCbc = 0x552, CamelliaMac = 0x553, CamelliaMacGeneral = 0x554, CamelliaCbcPad = 0x555,
  CamelliaEcbEncryptData = 0x556, CamelliaCbcEncryptData = 0x557, CamelliaCtr = 0x558,
  AriaKeyGen = 0x560, AriaEcb = 0x561, AriaCbc = 0x562, AriaMac = 0x563, AriaMacGeneral = 0x564,
  AriaCbcPad = 0x565, AriaEcbEncryptData = 0x566, AriaCbcEncryptData = 0x567, SeedKeyGen = 0x650,
  SeedEcb = 0x651, SeedCbc = 0x652, SeedMac = 0x653, SeedMacGeneral = 0x654, SeedCbcPad = 0x655,
  SeedEcbEncryptData = 0x656, SeedCbcEncryptData = 0x657, SkipjackKeyGen = 0x1000,
  SkipjackEcb64 = 0x1001, SkipjackCbc64 = 0x1002, SkipjackOfb64 = 0x1003, SkipjackCfb64 = 0x1004,
  SkipjackCfb32 = 0x1005, SkipjackCfb16 = 0x1006, SkipjackCfb8 = 0x1007, SkipjackWrap = 0x1008,
  SkipjackPrivateWrap = 0x1009, SkipjackRelayx = 0x100a, KeaKeyPairGen = 0x1010, KeaKeyDerive = 0x1011,
  KeaDerive = 0x1012, FortezzaTimestamp = 0x1020, BatonKeyGen = 0x1030, BatonEcb128 = 0x1031,
  BatonEcb96 = 0x1032, BatonCbc128 = 0x1033, BatonCounter = 0x1034, BatonShuffle = 0x1035,
  BatonWrap = 0x1036, EcdsaKeyPairGen = 0x1040, EcKeyPairGen = 0x1040, Ecdsa = 0x1041,
  EcdsaSha1 = 0x1042, EcdsaSha224 = 0x1043, EcdsaSha256 = 0x1044, EcdsaSha384 = 0x1045,
  EcdsaSha512 = 0x1046, Ecdh1Derive = 0x1050, Ecdh1CofactorDerive = 0x1051, EcmqvDerive = 0x1052,
  EcdhAesKeyWrap = 0x1053, RsaAesKeyWrap = 0x1054, JuniperKeyGen = 0x1060, JuniperEcb128 = 0x1061,
  JuniperCbc128 = 0x1062, JuniperCounter = 0x1063, JuniperShuffle = 0x1064, JuniperWrap = 0x1065,
  Fasthash = 0x1070, AesKeyGen = 0x1080, AesEcb = 0x1081, AesCbc = 0x1082, AesMac = 0x1083,
  AesMacGeneral = 0x1084, AesCbcPad = 0x1085, AesCtr = 0x1086, AesGcm = 0x1087, AesCcm = 0x1088,
  AesCts = 0x1089, AesCmac = 0x108a, AesCmacGeneral = 0x108b, AesXcbcMac = 0x108c, AesXcbcMac96 = 0x108d,
  AesGmac = 0x108e, BlowfishKeyGen = 0x1090, BlowfishCbc = 0x1091, TwofishKeyGen = 0x1092,
  TwofishCbc = 0x1093, BlowfishCbcPad = 0x1094, TwofishCbcPad = 0x1095, DesEcbEncryptData = 0x1100,
  DesCbcEncryptData = 0x1101, Des3EcbEncryptData = 0x1102, Des3CbcEncryptData = 0x1103,
  AesEcbEncryptData = 0x1104, AesCbcEncryptData = 0x1105, Gostr3410KeyPairGen = 0x1200,
  Gostr3410 = 0x1201, Gostr3410WithGostr3411 = 0x1202, Gostr3410KeyWrap = 0x1203,
  Gostr3410Derive = 0x1204, Gostr3411 = 0x1210, Gostr3411Hmac = 0x1211, Gost28147KeyGen = 0x1220,
  Gost28147Ecb = 0x1221, Gost28147 = 0x1222, Gost28147Mac = 0x1223, Gost28147KeyWrap = 0x1224,
  DsaParameterGen = 0x2000, DhPkcsParameterGen = 0x2001, X942DhParameterGen = 0x2002,
  DsaProbablisticParameterGen = 0x2003, DsaShaweTaylorParameterGen = 0x2004, AesOfb = 0x2104,
  AesCfb64 = 0x2105, AesCfb8 = 0x2106, AesCfb128 = 0x2107, AesCfb1 = 0x2108, AesKeyWrap = 0x2109,
  AesKeyWrapPad = 0x210a, RsaPkcsTpm11 = 0x4001, RsaPkcsOaepTpm11 = 0x4002, VendorDefined = 0x80000000
};

/// CKN_.
enum class Notification : CK_NOTIFICATION {
  Surrender = 0, OtpChanged = 1
};

/// CKO_.
enum class ObjectClass : CK_OBJECT_CLASS {
  Data = 0, Certificate = 1, PublicKey = 2, PrivateKey = 3, SecretKey = 4, HwFeature = 5,
  DomainParameters = 6, Mechanism = 7, OtpKey = 8, VendorDefined = 0x80000000
};

/// Pseudo-random functions of PKCS #5 PBKD2 (CKP_).
enum class PseudoRandom : CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE {
  Pkcs5Pbkd2HmacSha1 = 1, Pkcs5Pbkd2HmacGostr3411 = 2, Pkcs5Pbkd2HmacSha224 = 3,
  Pkcs5Pbkd2HmacSha256 = 4, Pkcs5Pbkd2HmacSha384 = 5, Pkcs5Pbkd2HmacSha512 = 6,
  Pkcs5Pbkd2HmacSha512224 = 7, Pkcs5Pbkd2HmacSha512256 = 8
};

/// What a token function returns (CKR_).
enum class ReturnValue : CK_RV {
  OK = 0, Cancel = 1, HostMemory = 2, SlotIdInvalid = 3, GeneralError = 5, FunctionFailed = 6,
  ArgumentsBad = 7, NoEvent = 8, NeedToCreateThreads = 9, CantLock = 0xa, AttributeReadOnly = 0x10,
  AttributeSensitive = 0x11, AttributeTypeInvalid = 0x12, AttributeValueInvalid = 0x13,
  ActionProhibited = 0x1b, DataInvalid = 0x20, DataLenRange = 0x21, DeviceError = 0x30,
  DeviceMemory = 0x31, DeviceRemoved = 0x32, EncryptedDataInvalid = 0x40, EncryptedDataLenRange = 0x41,
  FunctionCanceled = 0x50, FunctionNotParallel = 0x51, FunctionNotSupported = 0x54,
  KeyHandleInvalid = 0x60, KeySizeRange = 0x62, KeyTypeInconsistent = 0x63, KeyNotNeeded = 0x64,
  KeyChanged = 0x65, KeyNeeded = 0x66, KeyIndigestible = 0x67, KeyFunctionNotPermitted = 0x68,
  KeyNotWrappable = 0x69, KeyUnextractable = 0x6a, MechanismInvalid = 0x70, MechanismParamInvalid = 0x71,
  ObjectHandleInvalid = 0x82, OperationActive = 0x90, OperationNotInitialized = 0x91,
  PinIncorrect = 0xa0, PinInvalid = 0xa1, PinLenRange = 0xa2, PinExpired = 0xa3, PinLocked = 0xa4,
  SessionClosed = 0xb0, SessionCount = 0xb1, SessionHandleInvalid = 0xb3,
  SessionParallelNotSupported = 0xb4, SessionReadOnly = 0xb5, SessionExists = 0xb6,
  SessionReadOnlyExists = 0xb7, SessionReadWriteSoExists = 0xb8, SignatureInvalid = 0xc0,
  SignatureLenRange = 0xc1, TemplateIncomplete = 0xd0, TemplateInconsistent = 0xd1,
  TokenNotPresent = 0xe0, TokenNotRecognized = 0xe1, TokenWriteProtected = 0xe2,
  UnwrappingKeyHandleInvalid = 0xf0, UnwrappingKeySizeRange = 0xf1, UnwrappingKeyTypeInconsistent = 0xf2,
  UserAlreadyLoggedIn = 0x100, UserNotLoggedIn = 0x101, UserPinNotInitialized = 0x102,
  UserTypeInvalid = 0x103, UserAnotherAlreadyLoggedIn = 0x104, UserTooManyTypes = 0x105,
  WrappedKeyInvalid = 0x110, WrappedKeyLenRange = 0x112, WrappingKeyHandleInvalid = 0x113,
  WrappingKeySizeRange = 0x114, WrappingKeyTypeInconsistent = 0x115, RandomSeedNotSupported = 0x120,
  RandomNoRng = 0x121, DomainParamsInvalid = 0x130, CurveNotSupported = 0x140, BufferTooSmall = 0x150,
  SavedStateInvalid = 0x160, InformationSensitive = 0x170, StateUnsaveable = 0x180,
  CryptokiNotInitialized = 0x190, CryptokiAlreadyInitialized = 0x191, MutexBad = 0x1a0,
  MutexNotLocked = 0x1a1, NewPinMode = 0x1b0, NextOtp = 0x1b1, ExceededMaxIterations = 0x1b5,
  FipsSelfTestFailed = 0x1b6, LibraryLoadFailed = 0x1b7, PinTooWeak = 0x1b8, PublicKeyInvalid = 0x1b9,
  FunctionRejected = 0x200, VendorDefined = 0x80000000
};

/// CKS_.
enum class SessionState : CK_STATE {
  RoPublicSession = 0, RoUserFunctions = 1, RwPublicSession = 2, RwUserFunctions = 3, RwSoFunctions = 4
};

/// CKU_.
enum class UserType : CK_USER_TYPE {
  SO = 0, User = 1, ContextSpecific = 2
};

// clang-format on

/// How a key derivation encodes the public point.
enum class PublicPointEncoding : uint32_t { Raw, Der };

inline Flag operator|(Flag a, Flag b) {
  return static_cast<Flag>(static_cast<CK_FLAGS>(a) | static_cast<CK_FLAGS>(b));
}

inline CK_FLAGS flags(Flag flag) { return static_cast<CK_FLAGS>(flag); }

// The types of the standard. After the enumerations, because some enumerators have the same names.

using secure_string = secure_vector<uint8_t>;

using Attribute = CK_ATTRIBUTE;
using Bbool = CK_BBOOL;
using Byte = CK_BYTE;
using C_InitializeArgs = CK_C_INITIALIZE_ARGS;
using CreateMutex = CK_CREATEMUTEX;
using Date = CK_DATE;
using DestroyMutex = CK_DESTROYMUTEX;
using Ecdh1DeriveParams = CK_ECDH1_DERIVE_PARAMS;
using Flags = CK_FLAGS;
using FunctionListPtr = CK_FUNCTION_LIST_PTR;
using Info = CK_INFO;
using LockMutex = CK_LOCKMUTEX;
using Mechanism = CK_MECHANISM;
using MechanismInfo = CK_MECHANISM_INFO;
using Notify = CK_NOTIFY;
using ObjectHandle = CK_OBJECT_HANDLE;
using RsaPkcsOaepParams = CK_RSA_PKCS_OAEP_PARAMS;
using RsaPkcsPssParams = CK_RSA_PKCS_PSS_PARAMS;
using SessionHandle = CK_SESSION_HANDLE;
using SessionInfo = CK_SESSION_INFO;
using SlotId = CK_SLOT_ID;
using SlotInfo = CK_SLOT_INFO;
using TokenInfo = CK_TOKEN_INFO;
using Ulong = CK_ULONG;
using UnlockMutex = CK_UNLOCKMUTEX;
using Utf8Char = CK_UTF8CHAR;
using VoidPtr = CK_VOID_PTR;

const Bbool True = CK_TRUE;
const Bbool False = CK_FALSE;

}  // namespace PKCS11
}  // namespace Botan
