// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>

namespace ara {
namespace log {
namespace host {

/// One argument of a record, whose text holds them all.
struct Argument {
  enum class Kind : unsigned char { kText, kBool, kSigned, kUnsigned, kFloat, kDouble, kBytes };

  Kind kind;
  std::size_t size;  ///< of what it is in the text, in bytes
};

}  // namespace host
}  // namespace log
}  // namespace ara
