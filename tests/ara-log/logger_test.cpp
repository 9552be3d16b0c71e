// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <array>
#include <thread>

#include "capture_test.h"

namespace {

using ara::log::CreateLogger;
using ara::log::Logger;
using ara::log::LogLevel;

using LoggerTest = CaptureTest;

TEST_F(LoggerTest, WritesWhatIsAtLeastAsGraveAsTheThreshold) {
  const std::vector<std::string> texts{"1", "2", "3", "4", "5", "6"};
  for (int threshold = 0; threshold <= 6; ++threshold) {
    m_log.SetThreshold(static_cast<LogLevel>(threshold));
    m_sink->texts.clear();
    m_log.WithLevel(LogLevel::kOff) << 0;
    m_log.LogFatal() << 1;
    m_log.LogError() << 2;
    m_log.LogWarn() << 3;
    m_log.LogInfo() << 4;
    m_log.LogDebug() << 5;
    m_log.LogVerbose() << 6;
    EXPECT_EQ(m_sink->texts, std::vector<std::string>(texts.begin(), texts.begin() + threshold));
  }
}

TEST_F(LoggerTest, IsOneForEachIdOfFourBytesOfWholeCharacters) {
  Logger& log = CreateLogger("LONGER", "", LogLevel::kError);
  EXPECT_EQ(&CreateLogger("LONG", "", LogLevel::kVerbose), &log);
  EXPECT_FALSE(log.IsEnabled(LogLevel::kInfo));
  log.LogError() << 1;
  CreateLogger("abc\u00e9", "").LogWarn() << 2;
  EXPECT_EQ(m_sink->records.at(0).context, "LONG");
  EXPECT_EQ(m_sink->records.at(1).context, "abc");
}

TEST_F(LoggerTest, CommonThresholdReachesEveryLoggerOldAndNew) {
  ara::log::host::SetThreshold(LogLevel::kWarn);
  EXPECT_FALSE(m_log.IsEnabled(LogLevel::kInfo));
  EXPECT_TRUE(CreateLogger("NEW", "", LogLevel::kFatal).IsEnabled(LogLevel::kWarn));
}

TEST_F(LoggerTest, RecordsOfManyThreadsAreWholeAndInOrder) {
  std::array<int, 4> counts{};
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < counts.size(); ++thread) {
    threads.emplace_back([thread] {
      for (int number = 0; number < 5000; ++number) {
        CreateLogger("T" + std::to_string(number % 50), "").LogWarn() << thread << "counts" << number;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (const std::string& text : m_sink->texts) {
    const auto thread = static_cast<std::size_t>(text.at(0) - '0');
    EXPECT_EQ(text, std::to_string(thread) + " counts " + std::to_string(counts.at(thread)++));
  }
  EXPECT_THAT(counts, testing::Each(5000));
}

}  // namespace
