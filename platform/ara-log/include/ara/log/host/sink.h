// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/string_view.h>
#include <ara/log/common.h>
#include <ara/log/host/argument.h>
#include <ara/log/host/export.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What this host's log library offers beyond the standard interface. Portable code does not include it.
namespace ara {
namespace log {
namespace host {

struct Record {
  std::chrono::system_clock::time_point time;
  std::string application;            ///< at most four bytes
  std::string context;                ///< at most four bytes
  ara::core::StringView description;  ///< of the context; stays as long as the process
  LogLevel level;
  std::string text;  ///< the arguments joined by blanks, line breaks and all
  std::vector<Argument> arguments;
};

/// Where records go.
class ARA_LOG_EXPORT Sink {
 public:
  virtual ~Sink();

  /// Takes one record, and returns whether it is safe there; if not, or when this throws, it is counted as
  /// dropped. Calls come from any thread, one at a time, in the order of the records' times. What is logged
  /// in here is dropped and counted, as it would come back here without end. SetSinks must not be called in
  /// here.
  virtual bool Write(const Record& record) = 0;
};

using Sinks = std::vector<std::shared_ptr<Sink>>;

/// Returns the sink that ARA_LOG_SINK calls `name`: "console", "file:PATH" or "dlt". Throws std::system_error
/// when the file cannot be opened, std::invalid_argument when the name is unknown or not built in.
ARA_LOG_EXPORT std::shared_ptr<Sink> MakeSink(const std::string& name);

/// Sends all later records of the process to these sinks (none: nowhere) and returns those that it had, first
/// of all those of the environment. They are called no more when this returns.
ARA_LOG_EXPORT Sinks SetSinks(Sinks sinks) noexcept;

/// Sets the threshold of all loggers, also of those still to be made, whatever their code and ARA_LOG_LEVEL
/// say.
ARA_LOG_EXPORT void SetThreshold(LogLevel threshold) noexcept;

/// How many records of the process some sink, or all for want of memory, did not get.
ARA_LOG_EXPORT std::uint64_t DroppedRecords() noexcept;

}  // namespace host
}  // namespace log
}  // namespace ara
