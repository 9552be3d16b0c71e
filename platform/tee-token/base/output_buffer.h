// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstring>

#include "base/bytes.h"
#include "base/error.h"

namespace tee_token {

/// A caller's buffer under the convention of PKCS #11 2.40 base, 5.2: a null pointer asks for the length.
class OutputBuffer {
 public:
  /// Throws CKR_ARGUMENTS_BAD without a place for the length.
  OutputBuffer(CK_BYTE* first, CK_ULONG* length) : m_first(first), m_length(length) {
    if (length == nullptr) {
      throw Error(CKR_ARGUMENTS_BAD, "there is no place for the length");
    }
  }

  /// Whether `size` bytes are to be produced now. False answers a question for the length; throws
  /// CKR_BUFFER_TOO_SMALL, with the length told, when they do not fit. An operation goes on after both.
  bool takes(std::size_t size) {
    const CK_ULONG room = *m_length;
    *m_length = size;
    if (m_first != nullptr && room < size) {
      throw Error(CKR_BUFFER_TOO_SMALL, "the result needs " + std::to_string(size) + " bytes");
    }
    return m_first != nullptr;
  }

  void put(const Bytes& bytes) { std::memcpy(m_first, bytes.data(), bytes.size()); }

 private:
  CK_BYTE* m_first;
  CK_ULONG* m_length;
};

}  // namespace tee_token
