// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "level_names.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace ara::log::host {

namespace {

constexpr std::array<std::string_view, 7> kNames = {"off",  "fatal", "error",  "warn",
                                                    "info", "debug", "verbose"};

}  // namespace

std::string_view LevelName(LogLevel level) noexcept {
  const auto number = static_cast<std::size_t>(level);
  // cppcheck-suppress returnDanglingLifetime; the view is of a literal
  return number < kNames.size() ? kNames[number] : "?";
}

std::optional<LogLevel> LevelOfName(std::string_view name) noexcept {
  const auto found = std::find(kNames.begin(), kNames.end(), name);
  if (found == kNames.end()) return std::nullopt;
  return static_cast<LogLevel>(found - kNames.begin());
}

std::string AllLevelNames() {
  std::string all(kNames[0]);
  std::for_each(kNames.begin() + 1, kNames.end(),
                [&](std::string_view name) { all.append(", ").append(name); });
  return all;
}

}  // namespace ara::log::host
