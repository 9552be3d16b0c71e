// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/log_contract.h"

#include <algorithm>
#include <mutex>
#include <regex>
#include <set>

#include "support/documented_texts.h"
#include "support/stored_file.h"

namespace test_support {
namespace {

bool matches(const DocumentedRecord& record, const std::string& text) {
  const auto& first = record.parts.front();
  const auto& last = record.parts.back();
  if (record.parts.size() == 1) return text == first;
  return text.size() > first.size() + last.size() && text.compare(0, first.size(), first) == 0 &&
         text.compare(text.size() - last.size(), last.size(), last) == 0;
}

}  // namespace

const std::vector<DocumentedRecord>& documentedRecords() {
  static const auto records = [] {
    std::vector<DocumentedRecord> found;
    const std::string page = storedText("docs/logging.md");
    const std::size_t debug = page.find("## Debug");
    for (const auto& text : documentedTexts(page.substr(0, debug))) found.push_back({true, partsOf(text)});
    for (const auto& text : documentedTexts(page.substr(debug))) found.push_back({false, partsOf(text)});
    return found;
  }();
  return records;
}

std::string faultOfRecord(ara::log::LogLevel level, const std::string& text) {
  static std::mutex mutex;
  static std::set<std::pair<ara::log::LogLevel, std::string>> sound;  // most records come thousands of times
  const std::lock_guard<std::mutex> lock(mutex);
  if (sound.count({level, text}) != 0) return "";
  // The user's PIN as text and in hexadecimal, what may be key, request or certificate, and a VIN.
  static const std::regex secret("40718293|3430373138323933|[0-9A-Fa-f]{24}|[0-9A-Za-z+/]{40}|[0-9A-Z]{17}");
  if (std::regex_search(text, secret)) return "tells what no record may tell: " + text;
  const auto& records = documentedRecords();
  const bool is_known = std::any_of(records.begin(), records.end(), [&](const DocumentedRecord& record) {
    const auto documented = record.is_error ? ara::log::LogLevel::kError : ara::log::LogLevel::kDebug;
    return level == documented && matches(record, text);
  });
  if (!is_known) return "is not in docs/logging.md: " + text;
  sound.insert({level, text});
  return "";
}

}  // namespace test_support
