// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "base/error.h"

namespace tee_token {

template <auto release>
struct Releases {
  template <typename T>
  void operator()(T* handle) const noexcept {
    release(handle);
  }
};

template <typename T, auto release>
using Owned = std::unique_ptr<T, Releases<release>>;

using BigNumber = Owned<BIGNUM, BN_clear_free>;
using CipherContext = Owned<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using DigestContext = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;
using EcdsaSignature = Owned<ECDSA_SIG, ECDSA_SIG_free>;
using Group = Owned<EC_GROUP, EC_GROUP_free>;
using KdfContext = Owned<EVP_KDF_CTX, EVP_KDF_CTX_free>;
using MacContext = Owned<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using PKey = Owned<EVP_PKEY, EVP_PKEY_free>;
using PKeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Point = Owned<EC_POINT, EC_POINT_free>;
using X509Certificate = Owned<X509, X509_free>;

/// Keeps the token's errors apart from the host program's in libcrypto's error queue, which both use: earlier
/// errors are not reported as the token's, and the destructor removes those that were added.
class OpensslErrors {
 public:
  OpensslErrors() {
    ERR_set_mark();
    ERR_new();
    ERR_set_error(ERR_LIB_USER, ERR_R_OPERATION_FAIL, nullptr);
  }
  OpensslErrors(const OpensslErrors&) = delete;
  OpensslErrors& operator=(const OpensslErrors&) = delete;
  ~OpensslErrors() { ERR_pop_to_mark(); }
};

/// Throws a Failure (CKR_FUNCTION_FAILED) with the text of OpenSSL's own error unless `succeeded`.
inline void require_openssl(bool succeeded, const char* step) {
  if (succeeded) {
    return;
  }
  char text[256] = "no reason given";
  const unsigned long code = ERR_peek_last_error();
  if (code != 0 && ERR_GET_LIB(code) != ERR_LIB_USER) {
    ERR_error_string_n(code, text, sizeof text);
  }
  throw Failure(CKR_FUNCTION_FAILED, std::string(step) + " failed in libcrypto: " + text);
}

/// `handle` itself, which must not be null; otherwise as `require_openssl`.
template <typename Handle>
Handle require_handle(Handle handle, const char* step) {
  require_openssl(handle != nullptr, step);
  return handle;
}

}  // namespace tee_token
