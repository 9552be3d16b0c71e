// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/bytes.h"

namespace tee_token {

/// Length of every symmetric key here: device key, master key, wrapping keys.
constexpr std::size_t kKeyLength = 32;

/// `length` bytes from libcrypto's private generator.
Bytes random_bytes(std::size_t length);

/// Mixes a caller's bytes into libcrypto's generators, which seed themselves and count on none of them.
void add_entropy(ByteView bytes);

/// `plaintext` under AES-256-GCM: nonce (12 bytes), ciphertext, tag (16 bytes).
/// `context` is authenticated with it, so that the result opens nowhere else.
Bytes seal(const Bytes& key, ByteView plaintext, ByteView context);

/// The plaintext of `sealed`; nothing when key, context or a single bit differ.
std::optional<Bytes> unseal(const Bytes& key, ByteView sealed, ByteView context);

/// HKDF-SHA256 (RFC 5869) of `secret`: a key of `kKeyLength` bytes.
Bytes derive_key(const Bytes& secret, ByteView salt, ByteView info);

}  // namespace tee_token
