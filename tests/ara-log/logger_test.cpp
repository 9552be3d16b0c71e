// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/host/sink.h>
#include <ara/log/logging.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <thread>

namespace {

using namespace ara::log;
using testing::ElementsAre;

struct CapturingSink : host::Sink {
  bool Write(const host::Record& record) override {
    lines.push_back(record.context + std::to_string(static_cast<int>(record.level)) + ' ' + record.text);
    return true;
  }
  std::vector<std::string> lines;
};

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() { host::SetThreshold(LogLevel::kInfo); }
  ~LoggerTest() override { host::SetSinks(m_former); }

  std::shared_ptr<CapturingSink> m_sink = std::make_shared<CapturingSink>();
  host::Sinks m_former = host::SetSinks({m_sink});
  std::vector<std::string>& m_lines = m_sink->lines;
  Logger& m_log = CreateLogger("TEST", "tests");
};

TEST_F(LoggerTest, IsOneForEachIdAndWritesWhatIsAtLeastAsSevereAsTheThreshold) {
  EXPECT_EQ(&CreateLogger("LONG", ""), &CreateLogger("LONGER", ""));
  for (int threshold = 0; threshold <= 6; ++threshold) {
    host::SetThreshold(static_cast<LogLevel>(threshold));
    Logger& log = CreateLogger("NEW" + std::to_string(threshold), "", LogLevel::kFatal);
    m_lines.clear();
    for (int level = 0; level <= 6; ++level) log.WithLevel(static_cast<LogLevel>(level)) << "";
    EXPECT_EQ(m_lines.size(), static_cast<std::size_t>(threshold));
  }
}

TEST_F(LoggerTest, JoinsArgumentsOfEveryTypeByBlanks) {
  const std::vector<ara::core::Byte> bytes{ara::core::Byte{0x0f}, ara::core::Byte{0xa0}};
  m_log.LogInfo() << true << std::int8_t{-65} << std::uint8_t{200} << std::int16_t{-300}
                  << std::uint16_t{60000} << -70000 << 4000000000U << INT64_MIN << UINT64_MAX << -1LL << 2ULL
                  << 0.1F << -2.5e-300;
  const char* const none = nullptr;
  m_log.LogInfo() << "literal" << std::string("text") << bytes << none << ""
                  << "end";
  EXPECT_THAT(m_lines, ElementsAre("TEST4 true -65 200 -300 60000 -70000 4000000000 -9223372036854775808 "
                                   "18446744073709551615 -1 2 0.1 -2.5e-300",
                                   "TEST4 literal text 0fa0 (null)  end"));
}

TEST_F(LoggerTest, StreamWritesOneRecordAFlushAndNoneWhenEmptyOrMovedFrom) {
  {
    LogStream source = m_log.LogInfo();
    source.Flush();
    source << "first" << 1;
    source.Flush();
    source << "a";
    LogStream target = std::move(source), replaced = m_log.LogError();
    source << "ignored";
    replaced << "before";
    replaced = std::move(target);
    replaced << "b";
  }
  EXPECT_THAT(m_lines, ElementsAre("TEST4 first 1", "TEST2 before", "TEST4 a b"));
}

TEST_F(LoggerTest, RecordsOfThreadsAreWholeAndInOrderAndAChildForkedMeanwhileLogs) {
  std::vector<std::thread> threads;
  for (const std::string id : {"T0", "T1", "T2", "T3"}) {
    threads.emplace_back([id] {
      for (int number = 0; number < 5000; ++number) CreateLogger(id, "").LogFatal() << number;
    });
  }
  for (int forks = 0; forks < 20; ++forks) {
    if (::fork() == 0) {
      ::alarm(10);
      CreateLogger("KID", "").LogFatal() << "";
      ::_exit(0);
    }
    int status = 0;
    ::wait(&status);
    EXPECT_EQ(status, 0);
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(m_lines.size(), 20000U);
  std::map<char, int> count;
  for (const std::string& line : m_lines) {
    EXPECT_EQ(line, line.substr(0, 2) + "1 " + std::to_string(count[line[1]]++));
  }
}

struct BrokenSink : host::Sink {
  bool Write(const host::Record&) override {
    CreateLogger("SINK", "").LogFatal() << "from inside";
    ::raise(SIGPIPE);
    errno = EPIPE;
    throw std::runtime_error("broken");
  }
};

TEST_F(LoggerTest, BrokenSinkHarmsNeitherTheCallerNorOtherSinksAndIsCounted) {
  host::SetSinks({std::make_shared<BrokenSink>(), m_sink});
  const std::uint64_t before = host::DroppedRecords();
  errno = EEXIST;
  m_log.LogFatal() << "goes on";
  EXPECT_EQ(errno, EEXIST);
  EXPECT_THAT(m_lines, ElementsAre("TEST1 goes on"));
  EXPECT_EQ(host::DroppedRecords(), before + 2);
}

}  // namespace
