// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "environment.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

#include "sinks.h"

namespace ara::log::host {

namespace {

#ifdef ARA_LOG_DLT
constexpr char kSinkNames[] = "console, file:PATH, dlt, none";
#else
constexpr char kSinkNames[] = "console, file:PATH, none";
#endif
constexpr char kFilePrefix[] = "file:";

/// An absent variable counts as empty. In a set-user-id program all are absent: who starts it must not choose
/// a file for it to write.
std::string Variable(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

std::string ReadApplication() {
  const std::string id = Variable("ARA_LOG_APP_ID");
  return id.empty() ? std::string(program_invocation_short_name).substr(0, kLongestId)
                    : ShortId("ARA_LOG_APP_ID", id);
}

std::optional<LogLevel> ReadThreshold() {
  const std::string name = Variable("ARA_LOG_LEVEL");
  const auto found = std::find(kLevelNames.begin(), kLevelNames.end(), name);
  if (found != kLevelNames.end()) return static_cast<LogLevel>(found - kLevelNames.begin());
  if (!name.empty()) {
    Complain("ARA_LOG_LEVEL is '" + name + "'; accepted are off, fatal, error, warn, info, debug, verbose");
  }
  return std::nullopt;
}

std::shared_ptr<Sink> FileSink(const std::string& path) {
  // O_NONBLOCK: a named pipe that nobody reads must not stop the program.
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const int descriptor = ::open(path.c_str(), flags, 0600);
  if (descriptor >= 0) return std::make_shared<TextSink>(descriptor);
  Complain("ARA_LOG_SINK: cannot append to '" + path + "': " + std::strerror(errno));
  return nullptr;
}

/// Null when there is no such sink.
std::shared_ptr<Sink> SinkOf(const std::string& name) {
  if (name == "console") return std::make_shared<TextSink>(STDERR_FILENO);
  if (name.compare(0, std::strlen(kFilePrefix), kFilePrefix) == 0) {
    return FileSink(name.substr(std::strlen(kFilePrefix)));
  }
#ifdef ARA_LOG_DLT
  if (name == "dlt") return DltSinkOfProcess();
#endif
  Complain("ARA_LOG_SINK has '" + name + "'; accepted are " + kSinkNames + ", separated by commas");
  return nullptr;
}

Sinks ReadSinks() {
  std::istringstream names(Variable("ARA_LOG_SINK"));
  Sinks sinks;
  bool none_is_wanted = false;
  for (std::string name; std::getline(names, name, ',');) {
    if (name == "none") {
      none_is_wanted = true;
    } else if (auto sink = name.empty() ? nullptr : SinkOf(name)) {
      sinks.push_back(std::move(sink));
    }
  }
  if (sinks.empty() && !none_is_wanted) sinks.push_back(SinkOf("console"));
  return sinks;
}

}  // namespace

Settings ReadEnvironment() { return {ReadApplication(), ReadThreshold(), ReadSinks()}; }

std::string ShortId(const std::string& what, const std::string& id) {
  if (id.empty()) return "-";
  const std::string used = id.substr(0, kLongestId);
  if (used != id) Complain(what + " '" + id + "' is longer than four characters; '" + used + "' is used");
  return used;
}

}  // namespace ara::log::host
