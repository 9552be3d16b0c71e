// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

// The C types and constants of PKCS#11 2.40. Adds what p11-kit's header lacks, corrects its wrong values, and
// undefines the helper macros that it leaves (one of them, public_data, would rename a member in
// botan/rsa.h).

#ifdef CRYPTOKI_GNU
#error "botan/p11.h needs the names of the PKCS#11 standard: do not define CRYPTOKI_GNU"
#endif

#ifndef CK_DISABLE_TRUE_FALSE
#define CK_DISABLE_TRUE_FALSE
#include <p11-kit/pkcs11.h>
#undef CK_DISABLE_TRUE_FALSE
#else
#include <p11-kit/pkcs11.h>
#endif

#undef ck_rsa_pkcs_mgf_type_t
#undef ck_rsa_pkcs_oaep_source_type_t
#undef hash_alg
#undef s_len
#undef source_data
#undef source_data_len
#undef counter_bits
#undef iv_ptr
#undef iv_len
#undef iv_bits
#undef aad_ptr
#undef aad_len
#undef tag_bits
#undef shared_data
#undef shared_data_len
#undef public_data
#undef public_data_len
#undef string_data
#undef string_data_len
#undef data_params

#undef NULL_PTR
#define NULL_PTR nullptr

#undef CKR_EXCEEDED_MAX_ITERATIONS
#undef CKR_FIPS_SELF_TEST_FAILED
#undef CKR_LIBRARY_LOAD_FAILED
#undef CKR_PIN_TOO_WEAK
#undef CKR_PUBLIC_KEY_INVALID
#define CKR_EXCEEDED_MAX_ITERATIONS 0x1B5UL
#define CKR_FIPS_SELF_TEST_FAILED 0x1B6UL
#define CKR_LIBRARY_LOAD_FAILED 0x1B7UL
#define CKR_PIN_TOO_WEAK 0x1B8UL
#define CKR_PUBLIC_KEY_INVALID 0x1B9UL

#ifndef CKA_SUBPRIME_BITS
#define CKA_SUBPRIME_BITS 0x134UL
#endif
#ifndef CKF_EC_F_2M
#define CKF_EC_F_2M 0x200000UL
#define CKF_EC_ECPARAMETERS 0x400000UL
#endif
#ifndef CKF_ERROR_STATE
#define CKF_ERROR_STATE 0x1000000UL
#endif
#ifndef CKK_CAST5
#define CKK_CAST5 0x18UL
#endif
#ifndef CKM_KEA_DERIVE
#define CKM_KEA_DERIVE 0x1012UL
#endif

#ifndef CK_CERTIFICATE_CATEGORY_UNSPECIFIED
#define CK_CERTIFICATE_CATEGORY_UNSPECIFIED 0UL
#define CK_CERTIFICATE_CATEGORY_TOKEN_USER 1UL
#define CK_CERTIFICATE_CATEGORY_AUTHORITY 2UL
#define CK_CERTIFICATE_CATEGORY_OTHER_ENTITY 3UL
typedef CK_ULONG CK_CERTIFICATE_CATEGORY;
#endif

#ifndef CKP_PKCS5_PBKD2_HMAC_SHA1
#define CKP_PKCS5_PBKD2_HMAC_SHA1 1UL
#define CKP_PKCS5_PBKD2_HMAC_GOSTR3411 2UL
#define CKP_PKCS5_PBKD2_HMAC_SHA224 3UL
#define CKP_PKCS5_PBKD2_HMAC_SHA256 4UL
#define CKP_PKCS5_PBKD2_HMAC_SHA384 5UL
#define CKP_PKCS5_PBKD2_HMAC_SHA512 6UL
#define CKP_PKCS5_PBKD2_HMAC_SHA512_224 7UL
#define CKP_PKCS5_PBKD2_HMAC_SHA512_256 8UL
typedef CK_ULONG CK_PKCS5_PBKD2_PSEUDO_RANDOM_FUNCTION_TYPE;
#endif

typedef CK_ULONG CK_EC_KDF_TYPE;
