// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>
#include <ara/log/logging.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

// The tests begin with no settings, whatever the one who runs them has set.
inline const int kCleared =
    ::unsetenv("ARA_LOG_SINK") + ::unsetenv("ARA_LOG_LEVEL") + ::unsetenv("ARA_LOG_APP_ID");

struct CapturingSink : ara::log::host::Sink {
  bool Write(const ara::log::host::Record& record) override {
    records.push_back(record);
    texts.push_back(record.text);
    return true;
  }

  std::vector<ara::log::host::Record> records;
  std::vector<std::string> texts;
};

/// Tests whose records go to m_sink alone.
class CaptureTest : public testing::Test {
 protected:
  CaptureTest() { m_log.SetThreshold(ara::log::LogLevel::kInfo); }
  ~CaptureTest() override { ara::log::host::SetSinks(m_former); }

  std::shared_ptr<CapturingSink> m_sink = std::make_shared<CapturingSink>();
  ara::log::host::Sinks m_former = ara::log::host::SetSinks({m_sink});
  std::uint64_t m_dropped_before = ara::log::host::DroppedRecords();
  ara::log::Logger& m_log = ara::log::CreateLogger("TEST", "tests");
};
