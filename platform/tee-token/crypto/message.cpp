// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/message.h"

#include <algorithm>

#include "base/error.h"

namespace tee_token {
namespace {

constexpr std::size_t kLongestOrder = 66;  // bytes, of secp521r1

}  // namespace

Bytes Message::digest_of(ByteView data) const {
  if (m_parts != nullptr) {
    throw Error(CKR_OPERATION_ACTIVE, "the message was begun in parts; it ends with the Final call");
  }
  if (m_hash == nullptr) {
    if (data.size == 0) {
      throw Error(CKR_DATA_LEN_RANGE, "CKM_ECDSA takes a digest, not an empty message");
    }
    return ByteView(data.data, std::min(data.size, kLongestOrder)).copy();  // ECDSA looks at no more
  }
  Bytes digest(digest_length());
  require_openssl(EVP_Digest(data.data, data.size, digest.data(), nullptr, m_hash, nullptr) == 1, "hashing");
  return digest;
}

void Message::add(ByteView part) {
  if (m_hash == nullptr) {
    throw Error(CKR_FUNCTION_NOT_SUPPORTED, "CKM_ECDSA takes its digest in one part");
  }
  if (m_parts == nullptr) {
    m_parts.reset(require_handle(EVP_MD_CTX_new(), "hashing"));
    require_openssl(EVP_DigestInit_ex(m_parts.get(), m_hash, nullptr) == 1, "hashing");
  }
  require_openssl(EVP_DigestUpdate(m_parts.get(), part.data, part.size) == 1, "hashing");
}

Bytes Message::digest() {
  if (m_parts == nullptr) {
    add(ByteView(nullptr, 0));
  }
  Bytes digest(digest_length());
  require_openssl(EVP_DigestFinal_ex(m_parts.get(), digest.data(), nullptr) == 1, "hashing");
  return digest;
}

}  // namespace tee_token
