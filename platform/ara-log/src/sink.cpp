// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/host/sink.h>

#include <utility>

#include "registry.h"

namespace ara::log::host {

Sink::~Sink() = default;

Sinks SetSinks(Sinks sinks) noexcept {
  return Registry::Instance().GetDispatcher().SetSinks(std::move(sinks));
}

void SetThreshold(LogLevel threshold) noexcept { Registry::Instance().SetThreshold(threshold); }

std::uint64_t DroppedRecords() noexcept { return Registry::Instance().GetDispatcher().Dropped(); }

}  // namespace ara::log::host
