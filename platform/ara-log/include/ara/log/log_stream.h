// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/span.h>
#include <ara/core/string_view.h>
#include <ara/log/common.h>

#include <string>

namespace ara {
namespace log {

class Logger;

/// Collects the arguments of one record and writes it when destroyed or flushed.
///
/// Arguments are joined by one blank. An empty stream and one that was moved from write nothing. Below the
/// logger's threshold nothing is formatted and nothing is stored. No member throws: a record for which there
/// is no memory is dropped and counted. A stream is for one thread at a time.
class ARA_LOG_EXPORT LogStream final {
 public:
  LogStream(LogLevel level, const Logger& logger) noexcept;
  ~LogStream();

  LogStream(LogStream&& other) noexcept;
  /// Writes the record of this stream before it takes over the other's.
  LogStream& operator=(LogStream&& other) noexcept;
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  /// Writes the record; the stream is empty then and can collect the next one.
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
  /// Floating-point numbers have the fewest digits that give the same number when read again.
  LogStream& operator<<(float value) noexcept;
  LogStream& operator<<(double value) noexcept;
  /// Texts are UTF-8.
  LogStream& operator<<(ara::core::StringView text) noexcept;
  /// A null pointer is written as "(null)".
  LogStream& operator<<(const char* text) noexcept;
  /// Bytes are written as lower-case hexadecimal digits, two a byte, without separators.
  LogStream& operator<<(ara::core::Span<const ara::core::Byte> bytes) noexcept;

 private:
  /// kSilent: below the threshold, or moved from. kLost: no memory for the record.
  enum class State : unsigned char { kSilent, kEmpty, kCollecting, kLost };

  template <typename Number>
  LogStream& PutNumber(Number value) noexcept;
  template <typename AppendTo>
  LogStream& Put(AppendTo append) noexcept;

  const Logger* m_logger;
  LogLevel m_level;
  State m_state;
  std::string m_text;
};

}  // namespace log
}  // namespace ara
