// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

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

/// Why the library must not write this record: docs/logging.md lacks it, or it holds a secret. Empty when it
/// may.
std::string faultOf(const LogLine& record);

/// Gathers all records of the process, of every level, in their order, while it lives; no other sink gets
/// them. A record that the library must not write fails the test.
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

 private:
  struct Memory : ara::log::host::Sink {
    bool Write(const ara::log::host::Record& record) override {
      lines.push_back({record.level, record.text});
      const std::string fault = faultOf(lines.back());
      if (!fault.empty()) ADD_FAILURE() << lines.back() << ' ' << fault;
      return true;
    }
    std::vector<LogLine> lines;
  };

  std::shared_ptr<Memory> m_sink;
  ara::log::host::Sinks m_before;
};

}  // namespace test_support
