// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

namespace ara {
namespace log {

/// How grave a record is, and as a threshold, the least grave that is written. The numbers are DLT's.
enum class LogLevel : std::uint8_t {
  kOff = 0,
  kFatal = 1,
  kError = 2,
  kWarn = 3,
  kInfo = 4,
  kDebug = 5,
  kVerbose = 6
};

/// Where records go; flags that may be joined.
enum class LogMode : std::uint8_t { kRemote = 1, kFile = 2, kConsole = 4 };

constexpr LogMode operator|(LogMode left, LogMode right) noexcept {
  return static_cast<LogMode>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}

/// Whether a reader is attached to the log daemon.
enum class ClientState : std::int8_t { kUnknown = -1, kNotConnected = 0, kConnected = 1 };

}  // namespace log
}  // namespace ara
