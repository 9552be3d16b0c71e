// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <optional>
#include <string>

namespace ara::log::host {

struct Settings {
  std::string application;
  std::optional<LogLevel> threshold;  ///< overrules what loggers are made with
  Sinks sinks;
};

/// Reads ARA_LOG_APP_ID, ARA_LOG_LEVEL and ARA_LOG_SINK. Each value that cannot be used is said on stderr, in
/// one line that tells what is accepted, and does as if it were absent. Throws nothing but std::bad_alloc.
Settings ReadEnvironment();

}  // namespace ara::log::host
