// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <string>
#include <string_view>

namespace ara::log::host {

/// Returns `text` with its control characters, line breaks above all, written as \n, \r or \xNN; tabs stay.
std::string OnOneLine(std::string_view text);

/// Returns the line of a record, with its line break: time (UTC, ISO 8601, microseconds), application,
/// context, level and text, separated by blanks. An empty id is written as "-".
std::string TextLine(const Record& record);

}  // namespace ara::log::host
