// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "registry.h"

#include <unistd.h>

#include <new>
#include <utility>

#include "environment.h"
#include "quiet_write.h"
#include "short_id.h"

namespace ara::log::host {

Registry& Registry::Instance() noexcept {
  // Never destroyed: destructors of other static objects log too, and so do threads that outlive main.
  alignas(Registry) static unsigned char storage[sizeof(Registry)];
  static Registry* const registry = new (storage) Registry;
  return *registry;
}

Registry::Registry() noexcept : m_silent("", "", LogLevel::kOff) {
  try {
    Settings settings = ReadEnvironment();
    m_threshold = settings.threshold;
    m_dispatcher.SetApplication(std::move(settings.application));
    m_dispatcher.SetSinks(std::move(settings.sinks));
  } catch (...) {
    QuietWrite(STDERR_FILENO, "ara-log: out of memory at the start; records go nowhere\n");
  }
}

Logger& Registry::LoggerOf(std::string_view context, std::string_view description,
                           LogLevel default_threshold) noexcept try {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return *FindOrAdd(context, description, default_threshold);
} catch (...) {
  return m_silent;
}

std::shared_ptr<Logger> Registry::FindOrAdd(std::string_view context, std::string_view description,
                                            LogLevel default_threshold) {
  const auto known = m_loggers.find(context);
  if (known != m_loggers.end()) return known->second;
  const std::string id = ShortIdOf("context id", context);
  const LogLevel threshold = m_threshold.value_or(default_threshold);
  const auto logger = id == context
                          ? std::shared_ptr<Logger>(new Logger(id, std::string(description), threshold))
                          : FindOrAdd(id, description, default_threshold);
  m_loggers.emplace(context, logger);
  return logger;
}

void Registry::SetThreshold(LogLevel threshold) noexcept {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_threshold = threshold;
  for (const auto& [id, logger] : m_loggers) logger->SetThreshold(threshold);
}

}  // namespace ara::log::host
