// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/logger.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "dispatcher.h"

namespace ara::log::host {

/// The loggers of the process and what they share. The first use sets it up from the environment.
class Registry {
 public:
  static Registry& Instance() noexcept;

  Logger& LoggerOf(std::string_view context, std::string_view description,
                   LogLevel default_threshold) noexcept;
  void SetThreshold(LogLevel threshold) noexcept;

  Dispatcher& GetDispatcher() noexcept { return m_dispatcher; }

 private:
  Registry() noexcept;
  std::shared_ptr<Logger> FindOrAdd(std::string_view context, std::string_view description,
                                    LogLevel default_threshold);

  Dispatcher m_dispatcher;
  std::mutex m_mutex;
  std::optional<LogLevel> m_threshold;
  /// By the ids asked for, those that had to be cut too: so each is said once.
  std::map<std::string, std::shared_ptr<Logger>, std::less<>> m_loggers;
  Logger m_silent;  ///< for callers for whom there was no memory
};

}  // namespace ara::log::host
