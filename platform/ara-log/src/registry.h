// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <ara/log/logger.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace ara::log::host {

/// The loggers and sinks of the process. The first use sets them up from the environment.
class Registry {
 public:
  static Registry& Instance() noexcept;

  Logger& LoggerOf(core::StringView context, core::StringView description,
                   LogLevel default_threshold) noexcept;
  void SetThreshold(LogLevel threshold) noexcept;
  Sinks SetSinks(Sinks sinks) noexcept;

  /// Hands a record to all sinks. Keeps errno, so that a program may log before it reads errno.
  void Write(const Logger& logger, LogLevel level, std::string text) noexcept;

  void CountDropped() noexcept { ++m_dropped; }
  std::uint64_t Dropped() const noexcept { return m_dropped; }

 private:
  Registry() noexcept;

  std::mutex m_sinks_mutex;
  std::string m_application;
  Sinks m_sinks;
  std::atomic<std::uint64_t> m_dropped{0};

  std::mutex m_loggers_mutex;
  std::optional<LogLevel> m_threshold;
  std::map<std::string, std::unique_ptr<Logger>> m_loggers;
  Logger m_silent;  ///< returned when there is no memory for a logger
};

}  // namespace ara::log::host
