// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"

// Access to memory that callers pass by pointer. Throws CKR_ARGUMENTS_BAD on a null pointer that is not
// allowed.
namespace tee_token {

/// `pointer` itself, which must not be null.
template <typename T>
T* required(T* pointer) {
  if (pointer == nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "a required argument is a null pointer");
  }
  return pointer;
}

/// Bytes that a caller passes; a null pointer is allowed with the length 0.
inline ByteView input(const void* first, CK_ULONG length) {
  return length == 0 ? ByteView(nullptr, 0) : ByteView(required(first), length);
}

/// A buffer for a result (PKCS #11 2.40 base, 5.2): with a null pointer the caller asks for the length.
class OutputBuffer {
 public:
  OutputBuffer(CK_BYTE* first, CK_ULONG* length) : m_first(first), m_length(required(length)) {}

  /// Writes `size` to the caller's length and, unless the caller asks for the length only, the result of
  /// `produce` to the buffer. Returns whether it wrote the result. Throws CKR_BUFFER_TOO_SMALL.
  template <typename Produce>
  bool give(std::size_t size, Produce produce) {
    const CK_ULONG room = *m_length;
    *m_length = size;
    if (m_first == nullptr) {
      return false;
    }
    if (room < size) {
      throw Error(CKR_BUFFER_TOO_SMALL, "the result needs " + std::to_string(size) + " bytes");
    }
    const Bytes result = produce();
    std::memcpy(m_first, result.data(), result.size());
    return true;
  }

 private:
  CK_BYTE* m_first;
  CK_ULONG* m_length;
};

/// Writes a list to the caller's memory, under the same convention.
template <typename T>
void give_list(const std::vector<T>& list, T* first, CK_ULONG* count) {
  const CK_ULONG room = *required(count);
  *count = list.size();
  if (first == nullptr) {
    return;
  }
  if (room < list.size()) {
    throw Error(CKR_BUFFER_TOO_SMALL, "the list has " + std::to_string(list.size()) + " entries");
  }
  std::copy(list.begin(), list.end(), first);
}

/// Writes `text` to a field of Cryptoki's structures: cut to its width, padded with blanks, no final zero.
template <std::size_t width>
void put_text(unsigned char (&field)[width], const char* text) {
  std::memset(field, ' ', width);
  std::memcpy(field, text, std::min(width, std::strlen(text)));
}

}  // namespace tee_token
