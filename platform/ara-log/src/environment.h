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

/// Reads ARA_LOG_APP_ID, ARA_LOG_LEVEL and ARA_LOG_SINK. A value that is not accepted is reported on stderr,
/// with those that are, and ignored. Throws nothing but std::bad_alloc.
Settings ReadEnvironment();

constexpr std::size_t kLongestId = 4;  // bytes, as in DLT

/// Returns an id as records carry it: at most four bytes, "-" for an empty one. An id that has to be cut is
/// reported on stderr, as a `what`.
std::string ShortId(const std::string& what, const std::string& id);

}  // namespace ara::log::host
