// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/secure_memory.h"

namespace tee_token {

/// Allocator of secure memory: any value may be a PIN or a key.
template <typename T>
struct SecureAllocator {
  using value_type = T;

  SecureAllocator() = default;
  template <typename U>
  SecureAllocator(const SecureAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(allocate_secure(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept { free_secure(memory, count * sizeof(T)); }

  template <typename U>
  bool operator==(const SecureAllocator<U>&) const noexcept {
    return true;
  }
  template <typename U>
  bool operator!=(const SecureAllocator<U>&) const noexcept {
    return false;
  }
};

using Bytes = std::vector<std::uint8_t, SecureAllocator<std::uint8_t>>;

/// Bytes that somebody else owns for the time of the call.
struct ByteView {
  ByteView(const void* first, std::size_t count)
      : data(static_cast<const std::uint8_t*>(first)), size(count) {}
  ByteView(const Bytes& bytes) : data(bytes.data()), size(bytes.size()) {}
  ByteView(const std::string& text) : ByteView(text.data(), text.size()) {}

  Bytes copy() const { return size == 0 ? Bytes() : Bytes(data, data + size); }

  const std::uint8_t* data;
  std::size_t size;
};

/// The bytes of a number or flag as Cryptoki's attributes hold it: in the machine's order and full width.
template <typename T>
Bytes bytes_of(T number) {
  Bytes bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

/// The reverse of `bytes_of`; `bytes` must have the width of T.
template <typename T>
T number_of(const Bytes& bytes) {
  T number{};
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

}  // namespace tee_token
