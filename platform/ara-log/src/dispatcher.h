// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace ara::log::host {

/// Takes the records of the process to its sinks, one at a time.
class Dispatcher {
 public:
  void SetApplication(std::string application) noexcept;
  /// Returns the sinks so far.
  Sinks SetSinks(Sinks sinks) noexcept;

  /// Adds time and application. Leaves errno as it was, so that a program may log before it looks at it.
  void Dispatch(Record record) noexcept;

  void CountDropped() noexcept { ++m_dropped; }
  std::uint64_t Dropped() const noexcept { return m_dropped; }

 private:
  std::mutex m_mutex;
  std::string m_application;
  Sinks m_sinks;
  std::atomic<std::uint64_t> m_dropped{0};
};

}  // namespace ara::log::host
