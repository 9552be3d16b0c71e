// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/log_contract.h"

namespace test_support {

/// One record as a test compares it.
struct LogLine {
  ara::log::LogLevel level;
  std::string text;

  friend bool operator==(const LogLine& a, const LogLine& b) {
    return a.level == b.level && a.text == b.text;
  }
  friend std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << "level " << static_cast<int>(line.level) << " \"" << line.text << '"';
  }
};

inline LogLine debug(std::string text) { return {ara::log::LogLevel::kDebug, std::move(text)}; }
inline LogLine error(std::string text) { return {ara::log::LogLevel::kError, std::move(text)}; }

/// Gathers all records of the process, of every level, in their order, while it lives; no other sink gets
/// them. A record that breaks the contract of docs/logging.md fails the test.
class LogCapture {
 public:
  LogCapture() : m_sink(std::make_shared<Memory>()), m_before(ara::log::host::SetSinks({m_sink})) {
    ara::log::host::SetThreshold(ara::log::LogLevel::kVerbose);
  }
  ~LogCapture() { ara::log::host::SetSinks(std::move(m_before)); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Returns what was gathered since the last call.
  std::vector<LogLine> take() { return std::exchange(m_sink->lines, {}); }

  /// Has `observer` called after each record.
  void observe(std::function<void(const LogLine&)> observer) { m_sink->observer = std::move(observer); }

 private:
  struct Memory : ara::log::host::Sink {
    bool Write(const ara::log::host::Record& record) override {
      const std::string fault = faultOfRecord(record.level, record.text);
      if (!fault.empty()) ADD_FAILURE() << "this record " << fault;
      lines.push_back({record.level, record.text});
      if (observer) observer(lines.back());
      return true;
    }
    std::vector<LogLine> lines;
    std::function<void(const LogLine&)> observer;
  };

  std::shared_ptr<Memory> m_sink;
  ara::log::host::Sinks m_before;
};

}  // namespace test_support
