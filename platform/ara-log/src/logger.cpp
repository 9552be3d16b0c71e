#include <ara/log/logger.h>

#include <utility>

#include "registry.h"

namespace ara::log {

Logger::Logger(std::string context, LogLevel threshold) noexcept
    : m_context(std::move(context)), m_threshold(threshold) {}

LogStream Logger::LogFatal() const noexcept { return WithLevel(LogLevel::kFatal); }
LogStream Logger::LogError() const noexcept { return WithLevel(LogLevel::kError); }
LogStream Logger::LogWarn() const noexcept { return WithLevel(LogLevel::kWarn); }
LogStream Logger::LogInfo() const noexcept { return WithLevel(LogLevel::kInfo); }
LogStream Logger::LogDebug() const noexcept { return WithLevel(LogLevel::kDebug); }
LogStream Logger::LogVerbose() const noexcept { return WithLevel(LogLevel::kVerbose); }
LogStream Logger::WithLevel(LogLevel level) const noexcept { return LogStream(level, *this); }

// The text sinks have no place for the description.
Logger& CreateLogger(core::StringView ctxId, core::StringView, LogLevel ctxDefLogLevel) noexcept {
  return host::Registry::Instance().LoggerOf({ctxId.data(), ctxId.size()}, ctxDefLogLevel);
}

}  // namespace ara::log
