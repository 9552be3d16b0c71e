// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

#include "capture_test.h"

namespace {

using ara::log::host::DroppedRecords;
using ara::log::host::SetSinks;
using testing::ElementsAre;

using BrokenSinkTest = CaptureTest;

TEST_F(BrokenSinkTest, PipeWithoutReaderRaisesNoSignalAndLeavesErrno) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ::close(ends[0]);
  SetSinks(m_former);  // stderr, which is the pipe for a while
  const int kept = ::dup(STDERR_FILENO);
  ::dup2(ends[1], STDERR_FILENO);
  ::close(ends[1]);
  errno = EEXIST;
  m_log.LogInfo() << "nobody reads this";
  const int left = errno;
  ::dup2(kept, STDERR_FILENO);
  ::close(kept);
  EXPECT_EQ(left, EEXIST);
  EXPECT_EQ(DroppedRecords(), m_dropped_before + 1);
}

struct ThrowingSink : ara::log::host::Sink {
  bool Write(const ara::log::host::Record&) override { throw std::runtime_error("broken"); }
};

struct LoggingSink : ara::log::host::Sink {
  bool Write(const ara::log::host::Record&) override {
    ara::log::CreateLogger("SINK", "").LogFatal() << "from inside";
    return true;
  }
};

TEST_F(BrokenSinkTest, ThrowingAndLoggingSinksHarmNeitherTheCallerNorTheOthers) {
  SetSinks({std::make_shared<ThrowingSink>(), std::make_shared<LoggingSink>(), m_sink});
  m_log.LogInfo() << "goes on";
  EXPECT_THAT(m_sink->texts, ElementsAre("goes on"));
  EXPECT_EQ(DroppedRecords(), m_dropped_before + 2);
}

}  // namespace
