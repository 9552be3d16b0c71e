// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <cstddef>
#include <optional>
#include <string>

namespace ara::log::host {

struct Settings {
  std::string application;
  std::optional<LogLevel> threshold;  ///< overrides the thresholds in code
  Sinks sinks;
};

/// Reads ARA_LOG_APP_ID, ARA_LOG_LEVEL and ARA_LOG_SINK. A value that is not accepted is ignored; stderr gets
/// a line with the values that are. Throws nothing but std::bad_alloc.
Settings ReadEnvironment();

constexpr std::size_t kLongestId = 4;  // bytes, as in DLT

/// Returns an id for records: its first four bytes, or "-" for an empty one. An id that is longer is reported
/// on stderr; `what` names it there.
std::string ShortId(const std::string& what, const std::string& id);

}  // namespace ara::log::host
