// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// One record as a test compares it.
using LogLine = std::pair<ara::log::LogLevel, std::string>;

/// Gathers all records of the process, of every level, in their order, until the next one does; no other
/// sink gets them. A record that docs/logging.md lacks or that holds a secret fails the test.
class LogCapture {
 public:
  LogCapture();

  std::vector<LogLine> take() { return std::exchange(m_sink->lines, {}); }

 private:
  struct Memory : ara::log::host::Sink {
    bool Write(const ara::log::host::Record& record) override;
    std::vector<LogLine> lines;
  };
  std::shared_ptr<Memory> m_sink = std::make_shared<Memory>();
};

}  // namespace test_support
