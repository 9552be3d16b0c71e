// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tee_token {

/// Overwrites memory before it is freed: any value may be a PIN or a key.
template <typename T>
struct CleansingAllocator : std::allocator<T> {
  template <typename U>
  struct rebind {
    using other = CleansingAllocator<U>;
  };

  CleansingAllocator() = default;
  template <typename U>
  CleansingAllocator(const CleansingAllocator<U>&) noexcept {}

  void deallocate(T* memory, std::size_t count) noexcept {
    ::explicit_bzero(memory, count * sizeof(T));
    std::allocator<T>::deallocate(memory, count);
  }
};

using Bytes = std::vector<std::uint8_t, CleansingAllocator<std::uint8_t>>;

/// Bytes that the caller owns and that stay valid during the call.
struct ByteView {
  ByteView(const void* first, std::size_t count)
      : data(static_cast<const std::uint8_t*>(first)), size(count) {}
  ByteView(const Bytes& bytes) : data(bytes.data()), size(bytes.size()) {}
  ByteView(const std::string& text) : ByteView(text.data(), text.size()) {}

  Bytes copy() const { return size == 0 ? Bytes() : Bytes(data, data + size); }

  const std::uint8_t* data;
  std::size_t size;
};

inline void append(Bytes& bytes, ByteView more) {
  if (more.size != 0) {
    bytes.insert(bytes.end(), more.data, more.data + more.size);
  }
}

/// The bytes of a number or flag as Cryptoki's attributes hold it: native byte order, full width.
template <typename T>
Bytes bytes_of(T number) {
  return ByteView(&number, sizeof number).copy();
}

/// The reverse of `bytes_of`; `bytes` must have the width of T.
template <typename T>
T number_of(ByteView bytes) {
  T number{};
  std::memcpy(&number, bytes.data, sizeof number);
  return number;
}

}  // namespace tee_token
