// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "sinks.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

namespace ara::log::host {

namespace {

void AppendEscaped(std::string& line, char character) {
  const auto code = static_cast<unsigned char>(character);
  char escaped[8];
  if (code == '\n') {
    line += "\\n";
  } else if (code == '\r') {
    line += "\\r";
  } else if ((code < 0x20 && code != '\t') || code == 0x7f) {
    std::snprintf(escaped, sizeof escaped, "\\x%02x", code);
    line += escaped;
  } else {
    line += character;
  }
}

/// Writes `text` and a line break, with control characters as \n, \r or \xNN: in one write(), as long as the
/// kernel takes all at once, so that processes may share a file.
bool WriteLine(int descriptor, std::string_view text) {
  std::string line;
  line.reserve(text.size() + 1);
  for (const char character : text) AppendEscaped(line, character);
  line += '\n';
  std::size_t done = 0;
  while (done < line.size()) {
    const ssize_t count = ::write(descriptor, line.data() + done, line.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return true;
}

std::string TimeText(std::chrono::system_clock::time_point time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  const auto fraction = std::chrono::floor<std::chrono::microseconds>(time - second);
  const std::time_t seconds = std::chrono::system_clock::to_time_t(second);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  const auto length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + length, sizeof text - length, ".%06dZ", static_cast<int>(fraction.count()));
  return text;
}

}  // namespace

void Complain(std::string_view message) {
  const WriteSignalsBlocked blocked;
  WriteLine(STDERR_FILENO, std::string("ara-log: ").append(message));
}

bool TextSink::Write(const Record& record) {
  std::string line = TimeText(record.time);
  line.append(" ").append(record.application);
  line.append(" ").append(record.context);
  line.append(" ").append(kLevelNames.at(static_cast<std::size_t>(record.level)));
  line.append(" ").append(record.text);
  return WriteLine(m_descriptor, line);
}

}  // namespace ara::log::host
