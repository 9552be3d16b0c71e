// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/host/sink.h>
#include <unistd.h>

#include <stdexcept>
#include <string_view>

#include "dlt_sink.h"
#include "file_sink.h"
#include "text_sink.h"

namespace ara::log::host {

namespace {

constexpr std::string_view kFilePrefix = "file:";
#ifdef ARA_LOG_DLT
constexpr char kAccepted[] = "console, file:PATH, dlt, none";
#else
constexpr char kAccepted[] = "console, file:PATH, none";
#endif

}  // namespace

std::shared_ptr<Sink> MakeSink(const std::string& name) {
  if (name == "console") return std::make_shared<TextSink>(STDERR_FILENO);
  if (name.compare(0, kFilePrefix.size(), kFilePrefix) == 0) {
    return std::make_shared<FileSink>(name.substr(kFilePrefix.size()));
  }
#ifdef ARA_LOG_DLT
  if (name == "dlt") return DltSinkOfProcess();
#endif
  throw std::invalid_argument("there is no sink '" + name + "' in this build; accepted are " + kAccepted +
                              ", separated by commas");
}

}  // namespace ara::log::host
