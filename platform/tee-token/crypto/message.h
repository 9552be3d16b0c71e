// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "crypto/mechanism.h"
#include "crypto/openssl_handles.h"

namespace tee_token {

/// The data of one signature, verification or digest, as its mechanism takes it: hashed, or as it is.
class Message {
 public:
  explicit Message(const Mechanism& mechanism)
      : m_hash(mechanism.hash == nullptr ? nullptr : mechanism.hash()) {}

  /// The digest, or what ECDSA works on, when `data` is the whole message. Throws CKR_DATA_LEN_RANGE when a
  /// mechanism that does not hash gets nothing, and CKR_OPERATION_ACTIVE when parts were added before.
  Bytes digest_of(ByteView data) const;

  /// Length of the digest, in bytes, of a mechanism that hashes.
  std::size_t digest_length() const { return static_cast<std::size_t>(EVP_MD_get_size(m_hash)); }

  /// Adds a part. Throws CKR_FUNCTION_NOT_SUPPORTED when the mechanism takes a message in one part only.
  void add(ByteView part);
  /// The digest of all parts.
  Bytes digest();

 private:
  const EVP_MD* m_hash;
  DigestContext m_parts;
};

}  // namespace tee_token
