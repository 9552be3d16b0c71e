// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace wrong_chains {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;
using Request = std::shared_ptr<X509_REQ>;
using Stream = std::shared_ptr<BIO>;

/// Throws std::runtime_error, with libcrypto's own reason, unless `succeeded`.
void require(bool succeeded, const std::string& step);

/// Owns what libcrypto gives out; throws as `require` when it gives nothing.
template <typename T>
std::shared_ptr<T> owned(T* handle, void (*release)(T*), const std::string& step) {
  require(handle != nullptr, step);
  return std::shared_ptr<T>(handle, release);
}

/// The DER encoding, by libcrypto's `encode` (i2d_...) of that type.
template <typename T>
std::string der(const T* object, int (*encode)(const T*, unsigned char**)) {
  unsigned char* bytes = nullptr;
  const int length = encode(object, &bytes);
  require(length > 0, "encoding");
  const std::shared_ptr<unsigned char> holder(bytes, [](unsigned char* held) { OPENSSL_free(held); });
  return std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

}  // namespace wrong_chains
