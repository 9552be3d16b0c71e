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
#include <openssl/provider.h>
#include <openssl/rand.h>
#include <openssl/x509.h>

#include <memory>
#include <new>
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
using Hash = Owned<EVP_MD, EVP_MD_free>;
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

/// Throws std::bad_alloc when libcrypto's last error is that memory was short.
inline void require_openssl_memory() {
  if (ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE) {
    throw std::bad_alloc();
  }
}

/// Throws a Failure (CKR_FUNCTION_FAILED) with the text of OpenSSL's own error unless `succeeded`, or
/// std::bad_alloc.
inline void require_openssl(bool succeeded, const char* step) {
  if (succeeded) {
    return;
  }
  require_openssl_memory();
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

/// libcrypto's algorithms in a library context of the token's own, with the default provider alone and no
/// configuration file, so that the providers and properties of the host program do not reach them.
struct Libcrypto {
  /// The one of this process, made when it is first needed and never freed. Hold the module's lock.
  static const Libcrypto& get() {
    if (s_of_process == nullptr) {
      s_of_process = new Libcrypto;
    }
    return *s_of_process;
  }
  /// In a forked child, whose random generators must not repeat the parent's numbers.
  static void leave_to_parent() noexcept { s_of_process = nullptr; }

  Owned<OSSL_LIB_CTX, OSSL_LIB_CTX_free> context{require_handle(OSSL_LIB_CTX_new(), "the library context")};
  Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload> provider{
      require_handle(OSSL_PROVIDER_load(context.get(), "default"), "the default provider")};
  Owned<EVP_CIPHER, EVP_CIPHER_free> aes_256_gcm{fetched(EVP_CIPHER_fetch, "AES-256-GCM")};
  Owned<EVP_KDF, EVP_KDF_free> hkdf{fetched(EVP_KDF_fetch, "HKDF")};
  Owned<EVP_MAC, EVP_MAC_free> hmac{fetched(EVP_MAC_fetch, "HMAC")};
  Hash sha256{fetched(EVP_MD_fetch, "SHA256")};
  Hash sha384{fetched(EVP_MD_fetch, "SHA384")};
  Hash sha512{fetched(EVP_MD_fetch, "SHA512")};
  // For calls that use them by name: libcrypto does not complete a context for which memory was short once.
  Owned<EVP_KEYMGMT, EVP_KEYMGMT_free> ec{fetched(EVP_KEYMGMT_fetch, "EC")};
  Owned<EVP_SIGNATURE, EVP_SIGNATURE_free> ecdsa{fetched(EVP_SIGNATURE_fetch, "ECDSA")};

 private:
  template <typename Algorithm>
  Algorithm* fetched(Algorithm* (*fetch)(OSSL_LIB_CTX*, const char*, const char*), const char* name) const {
    return require_handle(fetch(context.get(), name, nullptr), name);
  }

  Libcrypto() { require_handle(RAND_get0_private(context.get()), "the random generator"); }

  static inline Libcrypto* s_of_process = nullptr;
};

/// The token's library context.
inline OSSL_LIB_CTX* library_context() { return Libcrypto::get().context.get(); }

}  // namespace tee_token
