// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tee_token {

/// Writes `text` into a field of Cryptoki's structures: cut to its width, padded with blanks, no final zero.
template <std::size_t width>
void put_text(unsigned char (&field)[width], const char* text) {
  std::memset(field, ' ', width);
  std::memcpy(field, text, std::min(width, std::strlen(text)));
}

}  // namespace tee_token
