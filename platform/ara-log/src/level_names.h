// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/common.h>

#include <optional>
#include <string>
#include <string_view>

namespace ara::log::host {

/// "off" to "verbose", or "?" for a number that is no level.
std::string_view LevelName(LogLevel level) noexcept;

std::optional<LogLevel> LevelOfName(std::string_view name) noexcept;

/// The names in the order of their numbers, separated by commas.
std::string AllLevelNames();

}  // namespace ara::log::host
