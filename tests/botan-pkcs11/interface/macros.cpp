// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/p11.h>
#include <botan/p11_ecc_key.h>
#include <botan/p11_ecdsa.h>
#include <botan/p11_object.h>
#include <botan/p11_randomgenerator.h>
#include <botan/p11_types.h>
#include <botan/p11_x509.h>
// After those, since macros that they left defined would change what these declare.
#include <botan/auto_rng.h>
#include <botan/pkcs10.h>
#include <botan/pubkey.h>
#include <botan/rsa.h>
#include <botan/x509self.h>

constexpr bool equal(const char* a, const char* b) { return *a == *b && (*a == 0 || equal(a + 1, b + 1)); }

#define TEXT(name) #name
#define UNTOUCHED(name) static_assert(equal(#name, TEXT(name)), #name " is a macro")

// clang-format off
UNTOUCHED(hash_alg); UNTOUCHED(s_len); UNTOUCHED(source_data); UNTOUCHED(source_data_len);
UNTOUCHED(counter_bits); UNTOUCHED(iv_ptr); UNTOUCHED(iv_len); UNTOUCHED(iv_bits); UNTOUCHED(aad_ptr);
UNTOUCHED(aad_len); UNTOUCHED(tag_bits); UNTOUCHED(shared_data); UNTOUCHED(shared_data_len);
UNTOUCHED(public_data); UNTOUCHED(public_data_len); UNTOUCHED(string_data); UNTOUCHED(string_data_len);
UNTOUCHED(data_params); UNTOUCHED(ck_rsa_pkcs_mgf_type_t); UNTOUCHED(ck_rsa_pkcs_oaep_source_type_t);
UNTOUCHED(TRUE); UNTOUCHED(FALSE); UNTOUCHED(CK_DISABLE_TRUE_FALSE); UNTOUCHED(BOTAN_HAS_PKCS11);
// clang-format on
