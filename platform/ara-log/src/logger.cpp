// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/logger.h>

#include <utility>

#include "registry.h"

namespace ara::log {

Logger::Logger(std::string context, std::string description, LogLevel threshold) noexcept
    : m_context(std::move(context)), m_description(std::move(description)), m_threshold(threshold) {}

LogStream Logger::LogFatal() const noexcept { return WithLevel(LogLevel::kFatal); }
LogStream Logger::LogError() const noexcept { return WithLevel(LogLevel::kError); }
LogStream Logger::LogWarn() const noexcept { return WithLevel(LogLevel::kWarn); }
LogStream Logger::LogInfo() const noexcept { return WithLevel(LogLevel::kInfo); }
LogStream Logger::LogDebug() const noexcept { return WithLevel(LogLevel::kDebug); }
LogStream Logger::LogVerbose() const noexcept { return WithLevel(LogLevel::kVerbose); }
LogStream Logger::WithLevel(LogLevel level) const noexcept { return LogStream(level, *this); }

Logger& CreateLogger(core::StringView ctxId, core::StringView ctxDescription,
                     LogLevel ctxDefLogLevel) noexcept {
  return host::Registry::Instance().LoggerOf({ctxId.data(), ctxId.size()},
                                             {ctxDescription.data(), ctxDescription.size()}, ctxDefLogLevel);
}

}  // namespace ara::log
