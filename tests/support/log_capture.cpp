// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace test_support {

namespace {

using ara::log::LogLevel;

/// The records that docs/logging.md lists in its two tables: texts in which "..." stands for what varies.
std::vector<LogLine> documentedRecords() {
  std::ifstream stream(CCI_PROJECT_FOLDER "/docs/logging.md");
  const std::string page{std::istreambuf_iterator<char>(stream), {}};
  const auto debug_table = static_cast<std::ptrdiff_t>(page.find("## Debug"));
  static const std::regex row("\n\\| `([^`]+)` \\|");
  std::vector<LogLine> found;
  for (std::sregex_iterator at(page.begin(), page.end(), row), end; at != end; ++at) {
    found.emplace_back(at->position() < debug_table ? LogLevel::kError : LogLevel::kDebug, (*at)[1]);
  }
  return found;
}

}  // namespace

LogCapture::LogCapture() {
  ara::log::host::SetSinks({m_sink});
  ara::log::host::SetThreshold(LogLevel::kVerbose);
}

bool LogCapture::Memory::Write(const ara::log::host::Record& record) {
  // The user's PIN as text and in hexadecimal, what may be key, request or certificate, and a VIN.
  static const std::regex secret("40718293|3430373138323933|[0-9A-Fa-f]{24}|[0-9A-Za-z+/]{40}|[0-9A-Z]{17}");
  static const auto documented = documentedRecords();
  static std::set<LogLine> judged;  // most come thousands of times
  lines.emplace_back(record.level, record.text);
  if (!judged.insert(lines.back()).second) return true;
  EXPECT_FALSE(std::regex_search(record.text, secret)) << "it tells what no record may: " << record.text;
  for (const auto& [level, text] : documented) {
    const std::size_t end = text.find("...");  // npos: all of it is compared
    if (level == record.level && text.compare(0, end, record.text, 0, end) == 0) return true;
  }
  ADD_FAILURE() << "docs/logging.md lacks, at this level: " << record.text;
  return true;
}

}  // namespace test_support
