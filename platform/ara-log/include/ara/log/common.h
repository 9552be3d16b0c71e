// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

/// Marks what libara-log.so exports; everything else in it is hidden.
#define ARA_LOG_EXPORT __attribute__((visibility("default")))

namespace ara {
namespace log {

/// The severity of a record; as a threshold, the least severe level that is written. The numbers are DLT's.
enum class LogLevel : std::uint8_t {
  kOff = 0,
  kFatal = 1,
  kError = 2,
  kWarn = 3,
  kInfo = 4,
  kDebug = 5,
  kVerbose = 6
};

}  // namespace log
}  // namespace ara
