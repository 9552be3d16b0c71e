// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/core/string_view.h>
#include <ara/log/common.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Functions of this host's log library that the standard does not have. Portable code does not use them.
namespace ara {
namespace log {
namespace host {

struct Record {
  std::chrono::system_clock::time_point time;
  std::string application;            ///< at most four bytes
  std::string context;                ///< at most four bytes
  ara::core::StringView description;  ///< of the context; valid until the process ends
  LogLevel level;
  std::string text;  ///< the arguments joined by blanks; may contain line breaks
};

/// A destination of records.
class ARA_LOG_EXPORT Sink {
 public:
  virtual ~Sink();

  /// Writes one record and returns whether it did. A record for which a sink returns false or throws is
  /// counted as dropped. Calls come from any thread, one at a time, in the order of the records' times. Write
  /// must not call SetSinks; a record that it logs itself is dropped and counted.
  virtual bool Write(const Record& record) = 0;
};

using Sinks = std::vector<std::shared_ptr<Sink>>;

/// Sends all later records of the process to these sinks (to none if the list is empty) and returns the
/// former ones, at first those of the environment. The former ones are not called any more after this
/// returns.
ARA_LOG_EXPORT Sinks SetSinks(Sinks sinks) noexcept;

/// Sets the threshold of all loggers, existing and future; it overrides code and ARA_LOG_LEVEL.
ARA_LOG_EXPORT void SetThreshold(LogLevel threshold) noexcept;

/// The number of dropped records: a sink did not take the record, or there was no memory for it.
ARA_LOG_EXPORT std::uint64_t DroppedRecords() noexcept;

}  // namespace host
}  // namespace log
}  // namespace ara
