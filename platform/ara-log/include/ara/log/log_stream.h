// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/span.h>
#include <ara/core/string_view.h>
#include <ara/log/common.h>
#include <ara/log/host/argument.h>
#include <ara/log/host/export.h>

#include <string>
#include <vector>

namespace ara {
namespace log {

class Logger;

/// Gathers the arguments of one record, and writes it when destroyed or flushed.
///
/// Arguments are joined by one blank. A stream into which nothing was put writes nothing, and so does one
/// that was moved from. Below the logger's threshold nothing is formatted and nothing is stored. No member
/// throws: a record for which memory is short is dropped and counted. One stream belongs to one thread at a
/// time.
class ARA_LOG_EXPORT LogStream final {
 public:
  LogStream(LogLevel level, const Logger& logger) noexcept;
  ~LogStream();

  LogStream(LogStream&& other) noexcept;
  /// Writes what this stream has gathered before it takes over the other's.
  LogStream& operator=(LogStream&& other) noexcept;
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  /// Writes the record gathered so far; the stream is empty then and may gather the next one.
  void Flush() noexcept;

  LogStream& operator<<(bool value) noexcept;
  LogStream& operator<<(signed char n) noexcept { return *this << static_cast<long long>(n); }
  LogStream& operator<<(short n) noexcept { return *this << static_cast<long long>(n); }
  LogStream& operator<<(int n) noexcept { return *this << static_cast<long long>(n); }
  LogStream& operator<<(long n) noexcept { return *this << static_cast<long long>(n); }
  LogStream& operator<<(long long n) noexcept;
  LogStream& operator<<(unsigned char n) noexcept { return *this << static_cast<unsigned long long>(n); }
  LogStream& operator<<(unsigned short n) noexcept { return *this << static_cast<unsigned long long>(n); }
  LogStream& operator<<(unsigned int n) noexcept { return *this << static_cast<unsigned long long>(n); }
  LogStream& operator<<(unsigned long n) noexcept { return *this << static_cast<unsigned long long>(n); }
  LogStream& operator<<(unsigned long long n) noexcept;
  /// Floating-point numbers are written with as few digits as give the same number when read again.
  LogStream& operator<<(float value) noexcept;
  LogStream& operator<<(double value) noexcept;
  /// Texts are UTF-8.
  LogStream& operator<<(ara::core::StringView text) noexcept;
  /// A null pointer is written as "(null)".
  LogStream& operator<<(const char* text) noexcept;
  /// Bytes are written as lower-case hexadecimal digits, two a byte, without separators.
  LogStream& operator<<(ara::core::Span<const ara::core::Byte> bytes) noexcept;

 private:
  /// kSilent: below the threshold, or moved from; kLost: memory was short for the record being gathered.
  enum class State : unsigned char { kSilent, kEmpty, kGathered, kLost };

  template <typename Number>
  LogStream& PutNumber(host::Argument::Kind kind, Number value) noexcept;
  template <typename AppendTo>
  LogStream& Put(host::Argument::Kind kind, AppendTo append) noexcept;

  const Logger* m_logger;
  LogLevel m_level;
  State m_state;
  std::string m_text;
  std::vector<host::Argument> m_arguments;
};

}  // namespace log
}  // namespace ara
