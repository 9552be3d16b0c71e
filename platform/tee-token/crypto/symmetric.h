// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/bytes.h"
#include "crypto/openssl_handles.h"

namespace tee_token {

/// Length of the device key, the master key and all keys that are derived from them, in bytes.
constexpr std::size_t kKeyLength = 32;

/// `length` bytes from the private generator of the token's library context.
Bytes random_bytes(std::size_t length);

/// Mixes a caller's bytes into the generators of the token's library context; they count as 0 bits of
/// entropy.
void add_entropy(ByteView bytes);

/// `plaintext` under AES-256-GCM: nonce (12 bytes), ciphertext, tag (16 bytes).
/// The result can only be unsealed with the same `context`.
Bytes seal(const Bytes& key, ByteView plaintext, ByteView context);

/// The plaintext; nothing when `sealed` was changed or was sealed with another key or context.
std::optional<Bytes> unseal(const Bytes& key, ByteView sealed, ByteView context);

/// HKDF-SHA256 (RFC 5869) of `secret`: a key of `kKeyLength` bytes.
Bytes derive_key(const Bytes& secret, ByteView salt, ByteView info);

/// HMAC-SHA256 of a list of byte strings. Each is preceded by its length, so that two different lists never
/// have the same input.
class Mac {
 public:
  static constexpr std::size_t kLength = 32;

  explicit Mac(const Bytes& key);

  Mac& add(ByteView bytes);

  /// Ends the list and returns its MAC.
  Bytes result();
  /// Ends the list and returns whether the result equals `stored`.
  bool matches(ByteView stored);

 private:
  MacContext m_context;
};

}  // namespace tee_token
