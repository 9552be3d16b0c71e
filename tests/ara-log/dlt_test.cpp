// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "dlt_daemon.h"

#include <algorithm>

#include "capture_test.h"

namespace {

using ara::core::Byte;
using ara::log::LogLevel;
using ara::log::host::DroppedRecords;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Tests whose records go to DLT alone; the application is "ara-", as the test program's name begins.
class DltTest : public CaptureTest {
 protected:
  static void SetUpTestSuite() { s_place = new DltPlace; }
  // Not by a static object: the child of a fork would remove the folder, too.
  static void TearDownTestSuite() { delete s_place; }

  DltTest() {
    m_log.SetThreshold(LogLevel::kVerbose);
    ara::log::host::SetSinks({ara::log::host::MakeSink("dlt")});
  }

  static const DltPlace& Place() { return *s_place; }
  std::uint64_t Dropped() const { return DroppedRecords() - m_dropped_before; }

 private:
  static inline DltPlace* s_place = nullptr;
};

TEST_F(DltTest, ReadersGetIdsDescriptionLevelAndEachArgumentAsWhatItIs) {
  const DltDaemon daemon(Place());
  const std::vector<Byte> bytes{Byte{0x00}, Byte{0x0f}, Byte{0xa0}};
  m_log.LogFatal() << "é" << true << -65 << 18446744073709551615U << 1.5F << -2.5 << bytes << "";
  m_log.LogVerbose() << "last";
  const auto records = daemon.RecordsUntil("last");
  EXPECT_THAT(records,
              ElementsAre("ara- TEST log fatal V 8 [é 1 -65 18446744073709551615 1.5 -2.5 00'0f'a0 ]",
                          "ara- TEST log verbose V 1 [last]"));
  EXPECT_EQ(daemon.StoredRecords(), records);
  EXPECT_THAT(LinesOf(Place().File("read")),
              Contains(AllOf(HasSubstr("get_log_info"), HasSubstr("74 65 73 74 73"))));
}

TEST_F(DltTest, RecordTooLongIsOneTextCutWithAMark) {
  const DltDaemon daemon(Place());
  for (const std::string& text : {std::string(2000, 'x'), std::string(70000, 'x')})
    m_log.LogInfo() << 1 << text;
  std::string two_byte_characters;
  while (two_byte_characters.size() < 2000) two_byte_characters += "é";
  m_log.LogInfo() << two_byte_characters;
  auto numbers = m_log.LogInfo();
  for (int number = 0; number < 1000; ++number) numbers << number;
  numbers.Flush();
  auto more_than_dlt_can_count = m_log.LogInfo();
  for (int number = 0; number < 260; ++number) more_than_dlt_can_count << true;
  more_than_dlt_can_count.Flush();
  m_log.LogInfo() << "last";
  const std::string mark = "... <<Message truncated, too long>>]";
  EXPECT_THAT(daemon.RecordsUntil("last"),
              ElementsAre(AllOf(HasSubstr(" V 1 [1 xxx"), EndsWith("xxx" + mark)), EndsWith("xxx" + mark),
                          EndsWith("é" + mark), AllOf(HasSubstr(" V 1 [0 1 2 "), EndsWith(mark)),
                          AllOf(HasSubstr(" V 1 [true true "), EndsWith(" true]")), EndsWith("[last]")));
  EXPECT_EQ(Dropped(), 0U);
}

TEST_F(DltTest, DaemonMayGoAndComeBackAndReadersAreToldWhatIsLost) {
  {
    const DltDaemon daemon(Place());
    m_log.LogInfo() << "before";
    daemon.RecordsUntil("before");
  }
  // More than libdlt's buffer holds, and what it holds, but the daemon's pipe of 64 kB does not.
  for (const std::uint64_t many : {8000U, 1500U}) {
    const std::uint64_t lost_before = Dropped();
    for (std::uint64_t count = 0; count < many; ++count)
      m_log.LogInfo() << "meanwhile" << std::string(100, 'x');
    const auto lost = [&] { return Dropped() - lost_before; };
    const std::uint64_t arriving = many - lost();
    EXPECT_EQ(lost() > 0, many > 2000) << lost();
    const DltDaemon daemon(Place());
    const auto arrives_after = [&](const std::string& text, const std::string& expected) {
      return Within10Seconds([&] {
        m_log.LogVerbose() << text;
        return testing::Value(daemon.Records(), Contains(HasSubstr(expected)));
      });
    };
    EXPECT_TRUE(arrives_after("afterwards", lost() > 0 ? "are lost" : "afterwards"));
    // The daemon's own default level reaches libdlt late; it must not hold verbose records back.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_TRUE(arrives_after("much later", "much later"));
    const auto records = daemon.Records();
    const auto meanwhile = std::count_if(records.begin(), records.end(), [](const std::string& record) {
      return record.find("[meanwhile ") != std::string::npos;
    });
    EXPECT_EQ(static_cast<std::uint64_t>(meanwhile), arriving);
    EXPECT_EQ(testing::Value(records, Contains("ara- ALOG log warn V 1 [" + std::to_string(lost()) +
                                               " records before this one are lost, for want of room]")),
              lost() > 0);
  }
}

TEST_F(DltTest, ReaderMayLowerTheLevelAndNothingCountsAsDropped) {
  const DltDaemon daemon(Place());
  m_log.LogInfo() << "known now";
  daemon.RecordsUntil("known now");
  const Program control(
      {"dlt-control", "-p", Place().Port(), "-a", "ara-", "-c", "TEST", "-l", "1", "127.0.0.1"},
      Place().File("control.log"));
  int round = 0;
  EXPECT_TRUE(Within10Seconds([&] {
    const std::string name = "round" + std::to_string(++round);
    m_log.LogError() << "error" << name;
    m_log.LogFatal() << "fatal" << name;
    return testing::Value(daemon.RecordsUntil("fatal " + name), Each(Not(HasSubstr("error " + name))));
  }));
  EXPECT_EQ(Dropped(), 0U);
}

TEST_F(DltTest, SignalsOfTheProgramAreUntouchedAndItsForkLeavesTheConnectionAlone) {
  const DltDaemon daemon(Place());
  m_log.LogFatal() << "first";
  struct sigaction action {};
  ::sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
  EXPECT_EXIT(
      {
        m_log.LogFatal() << "from the child";
        std::exit(static_cast<int>(Dropped()));
      },
      testing::ExitedWithCode(1), "up to 1 records did not reach the daemon; the child of a fork");
  m_log.LogFatal() << "last";
  EXPECT_THAT(daemon.RecordsUntil("last"), ElementsAre(EndsWith("[first]"), EndsWith("[last]")));
}

TEST_F(DltTest, ProgramThatEndsHasHandedOverAllOrSaysHowMuchNot) {
  const std::string run = "ARA_LOG_SINK=dlt ARA_LOG_APP_ID=APPL ARA_LOG_LEVEL=info writer CTXT 2 text 1>&2";
  EXPECT_THAT(StderrOf(run),
              ElementsAre(AllOf(StartsWith("ara-log: DLT: up to 3 records"), HasSubstr("DLT_PIPE_DIR"))));
  const DltDaemon daemon(Place());
  EXPECT_THAT(StderrOf(run), IsEmpty());
  EXPECT_THAT(daemon.RecordsUntil("ends"),
              ElementsAre("APPL CTXT log warn V 1 [text]", "APPL CTXT log warn V 1 [text]",
                          "APPL EXIT log info V 1 [ends]"));
}

TEST_F(DltTest, FolderThatIsNotYetThereIsSaidOnce) {
  // The child of a fork does not say it again.
  const auto lines = StderrOf("DLT_PIPE_DIR=/no/folder ARA_LOG_SINK=dlt writer CTXT 2 text fork 1>&2");
  EXPECT_THAT(lines, ElementsAre(HasSubstr("cannot be used yet"), HasSubstr("up to 2 records")));
}

}  // namespace
