// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>

#include <regex>

#include "shell.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

TEST(EnvironmentTest, WritesOneLineARecordWithTimeApplicationContextAndLevel) {
  const auto lines =
      StderrOf("ARA_LOG_APP_ID=APPL writer CTXT 1 \"$(printf 'one\\ntwo\\r\\033[31m\\tthree')\"");
  const std::regex line(
      R"(20\d\d-[01]\d-[0-3]\dT[0-2]\d:[0-5]\d:[0-6]\d\.\d{6}Z APPL CTXT warn one\\ntwo\\r\\x1b\[31m	three)");
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_TRUE(std::regex_match(lines[0], line)) << lines[0];
}

TEST(EnvironmentTest, LevelOverrulesTheOneInCodeToTheVeryEnd) {
  EXPECT_THAT(StderrOf("writer CTXT 1 text"), ElementsAre(EndsWith("Z log- CTXT warn text")));
  EXPECT_THAT(StderrOf("ARA_LOG_LEVEL=info writer CTXT 1 text"),
              ElementsAre(EndsWith("warn text"), EndsWith("EXIT info ends")));
  EXPECT_THAT(StderrOf("ARA_LOG_LEVEL=error writer CTXT 1 text"), IsEmpty());
}

TEST(EnvironmentTest, WhatCannotBeUsedIsSaidOnceAndHarmsNothing) {
  const auto record = EndsWith("warn text");
  const struct {
    const char* setting;
    testing::Matcher<std::string> complaint;
  } cases[] = {
      {"ARA_LOG_LEVEL=loud writer CTXT",
       AllOf(HasSubstr("'loud'"), HasSubstr("off, fatal, error, warn, info, debug, verbose"))},
#ifndef ARA_LOG_DLT
      {"ARA_LOG_SINK=dlt,console writer CTXT", AllOf(HasSubstr("'dlt'"), HasSubstr("console, file:PATH"))},
#endif
      {"ARA_LOG_SINK=syslog writer CTXT", AllOf(HasSubstr("'syslog'"), HasSubstr("console, file:PATH"))},
      {"ARA_LOG_SINK=file:/no/log,console writer CTXT",
       AllOf(HasSubstr("'/no/log'"), HasSubstr("No such file"))},
      {"ARA_LOG_APP_ID=LONGAPP writer CTXT", AllOf(HasSubstr("'LONGAPP'"), HasSubstr("'LONG'"))},
      {"writer CONTEXT", AllOf(HasSubstr("'CONTEXT'"), HasSubstr("'CONT'"))},
  };
  for (const auto& [setting, complaint] : cases) {
    EXPECT_THAT(StderrOf(std::string(setting) + " 2 text"),
                ElementsAre(AllOf(StartsWith("ara-log: "), complaint), record, record));
  }
}

TEST(EnvironmentTest, SinksAreNoneOneOrSeveralAndABrokenOneIsNoHarm) {
  EXPECT_THAT(StderrOf("ARA_LOG_SINK=none writer CTXT 1 text"), IsEmpty());
  EXPECT_THAT(StderrOf("ARA_LOG_SINK=console,,console writer CTXT 1 text"), SizeIs(2));
  EXPECT_THAT(StderrOf("ARA_LOG_SINK=file:/dev/full,console writer CTXT 1 text"), SizeIs(1));
  EXPECT_THAT(StderrOf("writer CTXT 1 text 2>&-"), IsEmpty());
}

TEST(EnvironmentTest, ProcessesShareAFileThatOnlyItsOwnerReads) {
  const test_support::TemporaryFolder folder;
  const std::string path = folder.path() / "log";
  const std::string text(300, 'x');
  StderrOf("umask 0; export ARA_LOG_SINK=file:" + path + "\nwriter A 1 " + text + "\nwriter B 500 " + text +
           " & writer C 500 " + text + "; wait");
  EXPECT_THAT(LinesOf(path), AllOf(SizeIs(1001), Each(AllOf(StartsWith("20"), EndsWith(" warn " + text)))));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

}  // namespace
