// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ara::log::host {

namespace {

thread_local bool t_is_in_sink = false;

bool Offer(Sink& sink, const Record& record) noexcept try { return sink.Write(record); } catch (...) {
  return false;
}

}  // namespace

void Dispatcher::SetApplication(std::string application) noexcept {
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_application = std::move(application);
}

Sinks Dispatcher::SetSinks(Sinks sinks) noexcept {
  const std::lock_guard<std::mutex> lock(m_mutex);
  return std::exchange(m_sinks, std::move(sinks));
}

void Dispatcher::Dispatch(Record record) noexcept {
  if (t_is_in_sink) return CountDropped();
  const int error = errno;
  const std::lock_guard<std::mutex> lock(m_mutex);
  record.time = std::chrono::system_clock::now();
  record.application = m_application;
  t_is_in_sink = true;
  const auto refused =
      std::count_if(m_sinks.begin(), m_sinks.end(), [&](const auto& sink) { return !Offer(*sink, record); });
  t_is_in_sink = false;
  if (refused > 0) CountDropped();
  errno = error;
}

}  // namespace ara::log::host
