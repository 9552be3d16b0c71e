#include "environment.h"

#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "complaint.h"
#include "file_sink.h"
#include "level_names.h"
#include "short_id.h"
#include "text_sink.h"

namespace ara::log::host {

namespace {

constexpr std::string_view kFilePrefix = "file:";

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

std::shared_ptr<Sink> ConsoleSink() { return std::make_shared<TextSink>(STDERR_FILENO); }

std::shared_ptr<Sink> OpenFile(const std::string& path) try {
  return std::make_shared<FileSink>(path);
} catch (const std::system_error& error) {
  Complain("ARA_LOG_SINK: cannot append to '" + path + "': " + error.code().message() +
           "; accepted is file:PATH of a file that may be written or made");
  return nullptr;
}

std::shared_ptr<Sink> MakeSink(const std::string& name) {
  if (name == "console") return ConsoleSink();
  if (name.compare(0, kFilePrefix.size(), kFilePrefix) == 0) return OpenFile(name.substr(kFilePrefix.size()));
  const std::string what =
      name == "dlt" ? "asks for 'dlt', which is not built in" : "has the unknown sink '" + name + "'";
  Complain("ARA_LOG_SINK " + what + "; accepted are console, file:PATH, none, separated by commas");
  return nullptr;
}

Sinks ReadSinks() {
  std::istringstream names{std::string(Variable("ARA_LOG_SINK"))};
  Sinks sinks;
  bool none_is_wanted = false;
  for (std::string name; std::getline(names, name, ',');) {
    if (name == "none") {
      none_is_wanted = true;
    } else if (auto sink = name.empty() ? nullptr : MakeSink(name)) {
      sinks.push_back(std::move(sink));
    }
  }
  if (sinks.empty() && !none_is_wanted) sinks.push_back(ConsoleSink());  // rather than lose everything
  return sinks;
}

}  // namespace

Settings ReadEnvironment() { return {ReadApplication(), ReadThreshold(), ReadSinks()}; }

}  // namespace ara::log::host
