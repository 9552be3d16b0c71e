// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <dlt/dlt.h>

namespace ara::log::host {

/// Puts a record's arguments, each of its own type, into a message that has just been started. A record too
/// long for that becomes one text, which libdlt cuts at a whole character and ends with its mark.
void FillMessage(DltContextData& message, const Record& record) noexcept;

}  // namespace ara::log::host
