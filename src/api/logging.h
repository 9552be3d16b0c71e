// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/logging.h>

#include <string>

namespace ozk {
namespace tee {

/// Each writes `message` as one record.
inline void logDebug(const ara::log::Logger& logger, const std::string& message) {
  logger.LogDebug() << message.c_str();
}

inline void logError(const ara::log::Logger& logger, const std::string& message) {
  logger.LogError() << message.c_str();
}

}  // namespace tee
}  // namespace ozk
