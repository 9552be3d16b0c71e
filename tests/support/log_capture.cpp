// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/log_capture.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

namespace test_support {

namespace {

/// The records that docs/logging.md lists in its two tables: texts in which "..." stands for what varies.
std::vector<LogLine> documentedRecords() {
  std::ifstream stream(CCI_PROJECT_FOLDER "/docs/logging.md");
  const std::string page{std::istreambuf_iterator<char>(stream), {}};
  const auto debug_table = static_cast<std::ptrdiff_t>(page.find("## Debug"));
  static const std::regex row("\n\\| `([^`]+)` \\|");
  std::vector<LogLine> found;
  for (std::sregex_iterator at(page.begin(), page.end(), row), end; at != end; ++at) {
    found.push_back(at->position() < debug_table ? error((*at)[1]) : debug((*at)[1]));
  }
  return found;
}

bool matches(const LogLine& record, const LogLine& documented) {
  const std::size_t end = documented.text.find("...");
  const bool same = end == std::string::npos ? record.text == documented.text
                                             : record.text.compare(0, end, documented.text, 0, end) == 0;
  return same && record.level == documented.level;
}

}  // namespace

std::string faultOf(const LogLine& record) {
  static const auto documented = documentedRecords();
  static std::set<std::pair<ara::log::LogLevel, std::string>> faultless;  // most come thousands of times
  if (faultless.count({record.level, record.text}) != 0) return "";
  // The user's PIN as text and in hexadecimal, what may be key, request or certificate, and a VIN.
  static const std::regex secret("40718293|3430373138323933|[0-9A-Fa-f]{24}|[0-9A-Za-z+/]{40}|[0-9A-Z]{17}");
  if (std::regex_search(record.text, secret)) return "tells what no record may tell";
  const bool known = std::any_of(documented.begin(), documented.end(),
                                 [&](const LogLine& each) { return matches(record, each); });
  if (!known) return "is not in docs/logging.md";
  faultless.insert({record.level, record.text});
  return "";
}

}  // namespace test_support
