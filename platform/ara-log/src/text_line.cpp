// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "text_line.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "level_names.h"

namespace ara::log::host {

namespace {

std::string Escaped(char control) {
  if (control == '\n') return "\\n";
  if (control == '\r') return "\\r";
  char text[8];
  std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(control));
  return text;
}

bool IsControl(char character) {
  return (static_cast<unsigned char>(character) < 0x20 && character != '\t') || character == 0x7f;
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

std::string Field(const std::string& id) { return id.empty() ? "-" : OnOneLine(id); }

}  // namespace

std::string OnOneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (const char character : text) {
    if (IsControl(character)) {
      line += Escaped(character);
    } else {
      line += character;
    }
  }
  return line;
}

std::string TextLine(const Record& record) {
  std::string line = TimeText(record.time);
  line.append(" ").append(Field(record.application));
  line.append(" ").append(Field(record.context));
  line.append(" ").append(LevelName(record.level));
  line.append(" ").append(OnOneLine(record.text));
  return line += '\n';
}

}  // namespace ara::log::host
