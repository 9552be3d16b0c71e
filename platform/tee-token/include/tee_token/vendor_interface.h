// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

/* The functions, attributes and classes of libteetoken.so beyond Cryptoki 2.40. A C header, as Cryptoki's is.
 */
#ifndef TEE_TOKEN_VENDOR_INTERFACE_H
#define TEE_TOKEN_VENDOR_INTERFACE_H

#include <p11-kit/pkcs11.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Vendor attributes: stored and matched like any other. */
#define TEE_CKA_VENDOR_KEY_ID 0x80001002UL    /* bytes: the key identifier that owns the object */
#define TEE_CKA_VENDOR_CLIENT_ID 0x80001003UL /* bytes: the client application that owns the object */
#define TEE_CKA_VENDOR_PERMANENT \
  0x80001004UL /* CK_BBOOL: true on installed objects; only the token sets it */

#define TEE_CKA_VENDOR_TRUST_STORE_GROUP \
  0x80001005UL /* bytes: the identifier of the group that a root certificate is in */

/* CKA_CLASS of a trust store group. Its CKA_LABEL is the group's identifier, TEE_CKA_VENDOR_CLIENT_ID the
 * client that it is for (anybody may read it). Its roots are the X.509 certificates with CKA_TRUSTED true,
 * that client and TEE_CKA_VENDOR_TRUST_STORE_GROUP. Only the security officer makes and destroys groups and
 * roots. */
#define TEE_CKO_TRUST_STORE_GROUP 0x80001001UL

/* CKA_CERTIFICATE_TYPE of a chain: its CKA_VALUE is the DER certificates back to back, leaf first. */
#define TEE_CKC_CERTIFICATE_CHAIN 0x80001001UL

/* The interface of C_GetInterface (PKCS #11 3.0, 5.4.5) that holds the functions below. */
#define TEE_INTERFACE_NAME "Vendor TEE client certificate"

/* Layout of CK_INTERFACE (PKCS #11 3.0, 3.7), which a 2.40 header lacks. */
typedef struct tee_interface {
  unsigned char* name; /* UTF-8, ends with a zero byte */
  void* functions;     /* begins with a CK_VERSION */
  CK_FLAGS flags;
} TEE_INTERFACE;

typedef CK_RV (*TEE_C_GetInterface)(unsigned char* name, CK_VERSION* version, TEE_INTERFACE** interface,
                                    CK_FLAGS flags);
/* C_GetInterfaceList (PKCS #11 3.0, 5.4.4): all interfaces, under the convention for lists. */
typedef CK_RV (*TEE_C_GetInterfaceList)(TEE_INTERFACE* list, CK_ULONG* count);

/* Puts one key pair and its certificate chain in the place of the installed ones, in one transaction.
 *
 * `installed` are the handles of all permanent objects of this client and key identifier (none before the
 * first installation), `added` those of one temporary public key, private key and chain. On CKR_OK the
 * installed objects are gone and permanent copies of the added ones, with new handles, are there; the added
 * objects stay. Any other answer has changed nothing:
 *
 * - CKR_OBJECT_HANDLE_INVALID: a handle is unknown, of another client or key identifier, or in the wrong
 *   state.
 * - CKR_ARGUMENTS_BAD: `added` is not one public key, one private key and one chain, or `installed` is not
 *   the whole permanent set.
 * - CKR_KEY_HANDLE_INVALID: the public key does not match the private key.
 * - CKR_DATA_INVALID: the chain cannot be read, or none of its certificates is for the public key (an empty
 *   chain is accepted).
 * - The codes of session, login and device that Cryptoki has for C_CopyObject. */
typedef CK_RV (*TEE_SetClientCertAndMoveKey)(CK_SESSION_HANDLE session, const CK_OBJECT_HANDLE* installed,
                                             CK_ULONG installed_count, const CK_OBJECT_HANDLE* added,
                                             CK_ULONG added_count);

typedef struct tee_function_list {
  CK_VERSION version; /* 1.0 */
  TEE_SetClientCertAndMoveKey set_client_cert_and_move_key;
} TEE_FUNCTION_LIST;

#ifdef __cplusplus
}
#endif

#endif
