// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/string_view.h>
#include <ara/log/common.h>
#include <ara/log/host/export.h>
#include <ara/log/log_stream.h>

#include <atomic>
#include <string>

namespace ara {
namespace log {

namespace host {
class Registry;
}

/// A source of records, known to readers by its context id. Every member may be called from any thread.
class ARA_LOG_EXPORT Logger final {
 public:
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  LogStream LogFatal() const noexcept;
  LogStream LogError() const noexcept;
  LogStream LogWarn() const noexcept;
  LogStream LogInfo() const noexcept;
  LogStream LogDebug() const noexcept;
  LogStream LogVerbose() const noexcept;
  LogStream WithLevel(LogLevel level) const noexcept;

  /// Whether a record of this level would be written; never for kOff.
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

/// Returns the logger of a context id, which lives as long as the process; the same id gives the same logger.
/// An id of more than four characters (bytes of UTF-8: what DLT carries) is cut, which is said once on
/// stderr. The description is for readers of DLT; the first one counts. `ctxDefLogLevel` is the threshold of
/// a new logger unless the platform is configured otherwise. When memory is short the logger is one that
/// writes nothing.
ARA_LOG_EXPORT Logger& CreateLogger(ara::core::StringView ctxId, ara::core::StringView ctxDescription,
                                    LogLevel ctxDefLogLevel = LogLevel::kWarn) noexcept;

}  // namespace log
}  // namespace ara
