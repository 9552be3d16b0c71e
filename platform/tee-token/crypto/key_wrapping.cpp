// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/key_wrapping.h"

namespace tee_token {
namespace {

constexpr std::size_t kSaltLength = 16;

// No slow password hash: a PIN is short and fixed, what protects the keys is the device key and the counter.
Bytes wrapping_key(const Bytes& device_key, const Bytes& salt, User user, ByteView pin) {
  Bytes info = ByteView(std::string("tee-token master key of the ") + name_of(user) + ":").copy();
  info.insert(info.end(), pin.data, pin.data + pin.size);
  return derive_key(device_key, salt, info);
}

}  // namespace

WrappedKey wrap_key(const Bytes& master_key, const Bytes& device_key, User user, ByteView pin) {
  const Bytes salt = random_bytes(kSaltLength);
  return {salt, seal(wrapping_key(device_key, salt, user, pin), master_key, std::string(name_of(user)))};
}

std::optional<Bytes> unwrap_key(const WrappedKey& wrapped, const Bytes& device_key, User user, ByteView pin) {
  return unseal(wrapping_key(device_key, wrapped.salt, user, pin), wrapped.sealed,
                std::string(name_of(user)));
}

}  // namespace tee_token
