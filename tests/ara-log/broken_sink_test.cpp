#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

#include "capture_test.h"
#include "shell.h"

namespace {

using ara::log::host::DroppedRecords;
using ara::log::host::SetSinks;
using testing::ElementsAre;
using testing::MatchesRegex;

/// Tests whose records go to stderr, which is `descriptor` while `action` runs.
class BrokenConsoleTest : public CaptureTest {
 protected:
  template <typename Action>
  void WithStderr(int descriptor, Action action) {
    SetSinks(m_former);
    const int kept = ::dup(STDERR_FILENO);
    ::dup2(descriptor, STDERR_FILENO);
    action();
    ::dup2(kept, STDERR_FILENO);
    ::close(kept);
    ::close(descriptor);
  }
};

TEST_F(BrokenConsoleTest, PipeWithoutReaderRaisesNoSignalAndLeavesErrno) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ::close(ends[0]);
  WithStderr(ends[1], [this] {
    errno = EEXIST;
    m_log.LogInfo() << "nobody reads this";
    EXPECT_EQ(errno, EEXIST);
  });
  EXPECT_EQ(DroppedRecords(), m_dropped_before + 1);
}

TEST_F(BrokenConsoleTest, RecordAfterATornOneHasALineOfItsOwn) {
  const test_support::TemporaryFolder folder;
  const std::string path = folder.path() / "log";
  WithStderr(::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600), [this] {
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit ten_bytes{10, former.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &ten_bytes);
    m_log.LogInfo() << "torn";
    m_log.LogInfo() << "lost";
    ::setrlimit(RLIMIT_FSIZE, &former);
    m_log.LogInfo() << "whole";
    m_log.LogInfo() << "next";
  });
  EXPECT_THAT(LinesOf(path), ElementsAre(MatchesRegex("....-..-.."), MatchesRegex("20.* TEST info whole"),
                                         MatchesRegex("20.* TEST info next")));
  EXPECT_EQ(DroppedRecords(), m_dropped_before + 2);
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

using BrokenSinkTest = CaptureTest;

TEST_F(BrokenSinkTest, ThrowingAndLoggingSinksHarmNeitherTheCallerNorTheOthers) {
  SetSinks({std::make_shared<ThrowingSink>(), std::make_shared<LoggingSink>(), m_sink});
  m_log.LogInfo() << "goes on";
  EXPECT_THAT(m_sink->texts, ElementsAre("goes on"));
  EXPECT_EQ(DroppedRecords(), m_dropped_before + 2);
}

}  // namespace
