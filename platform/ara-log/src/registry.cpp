// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "registry.h"

#include <pthread.h>

#include <algorithm>
#include <new>
#include <utility>

#include "environment.h"
#include "sinks.h"

namespace ara::log {

namespace host {

namespace {

thread_local bool t_is_in_sink = false;

bool IsRefused(Sink& sink, const Record& record) noexcept {
  try {
    return !sink.Write(record);
  } catch (...) {
    return true;
  }
}

}  // namespace

Registry& Registry::Instance() noexcept {
  // Never destroyed: destructors of other static objects log too, and so do threads that outlive main.
  alignas(Registry) static unsigned char storage[sizeof(Registry)];
  static Registry* const registry = new (storage) Registry;
  return *registry;
}

Registry::Registry() noexcept : m_silent("", "", LogLevel::kOff) {
  const auto unlock = [] {
    Instance().m_loggers_mutex.unlock();
    Instance().m_sinks_mutex.unlock();
  };
  // A fork waits until no thread holds a mutex, so that the child can log.
  ::pthread_atfork(
      [] {
        Instance().m_sinks_mutex.lock();
        Instance().m_loggers_mutex.lock();
      },
      unlock, unlock);
  try {
    Settings settings = ReadEnvironment();
    m_application = std::move(settings.application);
    m_threshold = settings.threshold;
    m_sinks = std::move(settings.sinks);
  } catch (const std::bad_alloc&) {
    m_threshold = LogLevel::kOff;
  }
}

Logger& Registry::LoggerOf(core::StringView context, core::StringView description,
                           LogLevel default_threshold) noexcept try {
  const std::lock_guard<std::mutex> lock(m_loggers_mutex);
  const std::string asked(context.begin(), context.end());
  const auto known = m_loggers.find(asked.substr(0, kLongestId));
  if (known != m_loggers.end()) return *known->second;
  const std::string id = ShortId("context id", asked);
  std::unique_ptr<Logger> logger(
      new Logger(id, {description.begin(), description.end()}, m_threshold.value_or(default_threshold)));
  return *m_loggers.emplace(id, std::move(logger)).first->second;
} catch (const std::bad_alloc&) {
  return m_silent;
}

void Registry::SetThreshold(LogLevel threshold) noexcept {
  const std::lock_guard<std::mutex> lock(m_loggers_mutex);
  m_threshold = threshold;
  for (const auto& [id, logger] : m_loggers) logger->SetThreshold(threshold);
}

Sinks Registry::SetSinks(Sinks sinks) noexcept {
  const std::lock_guard<std::mutex> lock(m_sinks_mutex);
  return std::exchange(m_sinks, std::move(sinks));
}

void Registry::Write(const Logger& logger, LogLevel level, std::string text) noexcept {
  if (t_is_in_sink) return CountDropped();
  const WriteSignalsBlocked blocked;
  const std::lock_guard<std::mutex> lock(m_sinks_mutex);
  // The copies allocate no memory: an id fits into the string object itself.
  const Record record{std::chrono::system_clock::now(),
                      m_application,
                      logger.m_context,
                      logger.m_description,
                      level,
                      std::move(text)};
  t_is_in_sink = true;
  const auto refused = std::count_if(m_sinks.begin(), m_sinks.end(),
                                     [&](const auto& sink) { return IsRefused(*sink, record); });
  t_is_in_sink = false;
  if (refused > 0) CountDropped();
}

Sink::~Sink() = default;

Sinks SetSinks(Sinks sinks) noexcept { return Registry::Instance().SetSinks(std::move(sinks)); }
void SetThreshold(LogLevel threshold) noexcept { Registry::Instance().SetThreshold(threshold); }
std::uint64_t DroppedRecords() noexcept { return Registry::Instance().Dropped(); }

}  // namespace host

Logger::Logger(std::string context, std::string description, LogLevel threshold) noexcept
    : m_context(std::move(context)), m_description(std::move(description)), m_threshold(threshold) {}

Logger& CreateLogger(core::StringView ctxId, core::StringView ctxDescription,
                     LogLevel ctxDefLogLevel) noexcept {
  return host::Registry::Instance().LoggerOf(ctxId, ctxDescription, ctxDefLogLevel);
}

}  // namespace ara::log
