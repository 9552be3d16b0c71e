// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/string_view.h>
#include <ara/log/common.h>
#include <ara/log/log_stream.h>

#include <atomic>
#include <string>

namespace ara {
namespace log {

namespace host {
class Registry;
}

/// A source of records with a context id. All members are thread-safe.
class ARA_LOG_EXPORT Logger final {
 public:
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  LogStream LogFatal() const noexcept { return WithLevel(LogLevel::kFatal); }
  LogStream LogError() const noexcept { return WithLevel(LogLevel::kError); }
  LogStream LogWarn() const noexcept { return WithLevel(LogLevel::kWarn); }
  LogStream LogInfo() const noexcept { return WithLevel(LogLevel::kInfo); }
  LogStream LogDebug() const noexcept { return WithLevel(LogLevel::kDebug); }
  LogStream LogVerbose() const noexcept { return WithLevel(LogLevel::kVerbose); }
  LogStream WithLevel(LogLevel level) const noexcept { return LogStream(level, *this); }

  /// Whether a record of this level would be written; false for kOff.
  bool IsEnabled(LogLevel level) const noexcept {
    return level != LogLevel::kOff && level <= m_threshold.load(std::memory_order_relaxed);
  }

  void SetThreshold(LogLevel threshold) noexcept { m_threshold.store(threshold, std::memory_order_relaxed); }

 private:
  friend class host::Registry;
  friend class LogStream;

  Logger(std::string context, std::string description, LogLevel threshold) noexcept;

  const std::string m_context;
  const std::string m_description;
  std::atomic<LogLevel> m_threshold;
};

/// Returns the logger of a context id; it lives as long as the process, and the same id gives the same
/// logger. An id of more than four bytes (the length in DLT) is cut, which is reported once on stderr. DLT
/// shows the description of the first call. `ctxDefLogLevel` is the threshold of a new logger unless
/// ARA_LOG_LEVEL or host::SetThreshold sets another. If there is no memory, the returned logger writes
/// nothing.
ARA_LOG_EXPORT Logger& CreateLogger(ara::core::StringView ctxId, ara::core::StringView ctxDescription,
                                    LogLevel ctxDefLogLevel = LogLevel::kWarn) noexcept;

}  // namespace log
}  // namespace ara
