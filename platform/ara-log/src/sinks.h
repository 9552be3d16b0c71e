// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <array>
#include <memory>
#include <string_view>

namespace ara::log::host {

/// By the numbers of the levels.
inline constexpr std::array<std::string_view, 7> kLevelNames = {"off",  "fatal", "error",  "warn",
                                                                "info", "debug", "verbose"};

/// Reports on stderr, in one line, what the library itself has to report.
void Complain(std::string_view message);

/// Writes each record as one line to a file descriptor, which stays open: time (UTC, ISO 8601, microseconds),
/// application, context, level and text, separated by blanks.
class TextSink final : public Sink {
 public:
  explicit TextSink(int descriptor) noexcept : m_descriptor(descriptor) {}

  bool Write(const Record& record) override;

 private:
  const int m_descriptor;
};

/// The sink that hands records to the DLT daemon; a process has one, as libdlt has one connection. The first
/// record opens it.
std::shared_ptr<Sink> DltSinkOfProcess();

}  // namespace ara::log::host
