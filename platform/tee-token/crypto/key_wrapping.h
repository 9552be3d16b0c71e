// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "crypto/sealing.h"
#include "store/retry_counter.h"

namespace tee_token {

/// The master key as the store holds it for one user: sealed under a key that takes the device key and the
/// PIN. That it opens is the proof of the PIN.
struct WrappedKey {
  Bytes salt;
  Bytes sealed;
};

WrappedKey wrap_key(const Bytes& master_key, const Bytes& device_key, User user, ByteView pin);

/// The master key; nothing when the PIN or the device key is another.
std::optional<Bytes> unwrap_key(const WrappedKey& wrapped, const Bytes& device_key, User user, ByteView pin);

}  // namespace tee_token
