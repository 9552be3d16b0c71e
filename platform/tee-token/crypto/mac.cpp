// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/mac.h"

#include <openssl/crypto.h>

namespace tee_token {
namespace {

constexpr char kStep[] = "HMAC";

MacContext new_context() {
  static EVP_MAC* const hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);  // for the process's life
  return MacContext(require_handle(EVP_MAC_CTX_new(hmac), kStep));
}

}  // namespace

Mac::Mac(const Bytes& key) : m_context(new_context()) {
  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                   OSSL_PARAM_construct_end()};
  require_openssl(EVP_MAC_init(m_context.get(), key.data(), key.size(), parameters) == 1, kStep);
}

void Mac::update(ByteView bytes) {
  require_openssl(EVP_MAC_update(m_context.get(), bytes.data, bytes.size) == 1, kStep);
}

Mac& Mac::add(std::uint64_t number) {
  update(ByteView(&number, sizeof number));
  return *this;
}

Mac& Mac::add(const Bytes& bytes) {
  add(bytes.size());
  update(bytes);
  return *this;
}

Bytes Mac::result() {
  Bytes result(32);
  std::size_t length = 0;
  require_openssl(EVP_MAC_final(m_context.get(), result.data(), &length, result.size()) == 1, kStep);
  return result;
}

bool Mac::is(const Bytes& stored) {
  const Bytes expected = result();
  return stored.size() == expected.size() &&
         CRYPTO_memcmp(stored.data(), expected.data(), expected.size()) == 0;
}

}  // namespace tee_token
