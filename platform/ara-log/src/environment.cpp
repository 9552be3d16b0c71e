// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "environment.h"

#include <errno.h>
#include <stdlib.h>

#include <new>
#include <sstream>
#include <string_view>
#include <utility>

#include "complaint.h"
#include "level_names.h"
#include "short_id.h"

namespace ara::log::host {

namespace {

/// An empty value counts as none. A program with raised rights gets none either: who starts it must not
/// choose a file for it to write.
std::string_view Variable(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? std::string_view() : value;
}

std::string ReadApplication() {
  const std::string_view id = Variable("ARA_LOG_APP_ID");
  return id.empty() ? ShortId(program_invocation_short_name) : ShortIdOf("ARA_LOG_APP_ID", id);
}

std::optional<LogLevel> ReadThreshold() {
  const std::string_view name = Variable("ARA_LOG_LEVEL");
  const std::optional<LogLevel> level = LevelOfName(name);
  if (!level && !name.empty()) {
    Complain("ARA_LOG_LEVEL is '" + std::string(name) + "'; accepted are " + AllLevelNames());
  }
  return level;
}

std::shared_ptr<Sink> SinkOf(const std::string& name) try {
  return MakeSink(name);
} catch (const std::bad_alloc&) {
  throw;
} catch (const std::exception& error) {
  Complain(std::string("ARA_LOG_SINK: ") + error.what());
  return nullptr;
}

Sinks ReadSinks() {
  std::istringstream names{std::string(Variable("ARA_LOG_SINK"))};
  Sinks sinks;
  bool none_is_wanted = false;
  for (std::string name; std::getline(names, name, ',');) {
    if (name == "none") {
      none_is_wanted = true;
    } else if (auto sink = name.empty() ? nullptr : SinkOf(name)) {
      sinks.push_back(std::move(sink));
    }
  }
  if (sinks.empty() && !none_is_wanted) sinks.push_back(MakeSink("console"));  // rather than lose everything
  return sinks;
}

}  // namespace

Settings ReadEnvironment() { return {ReadApplication(), ReadThreshold(), ReadSinks()}; }

}  // namespace ara::log::host
