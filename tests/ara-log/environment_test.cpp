// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <fstream>

#include "support/temporary_folder.h"

namespace {

using namespace testing;
using Lines = std::vector<std::string>;

/// Runs a shell script, which must succeed, with log-writer as "writer", and returns its stderr.
Lines StderrOf(const std::string& script) {
  const test_support::TemporaryFolder folder;
  const std::string path = folder.path() / "script";
  std::ofstream(path) << "unset ARA_LOG_SINK ARA_LOG_LEVEL ARA_LOG_APP_ID\n"
                      << "writer() { '" LOG_WRITER "' \"$@\"; }\n"
                      << script;
  EXPECT_EQ(std::system(("sh " + path + " 2>" + path + ".stderr").c_str()), 0) << script;
  std::ifstream output(path + ".stderr");
  Lines lines;
  for (std::string line; std::getline(output, line);) lines.push_back(line);
  return lines;
}

auto OneComplaint(const std::string& regex) {
  return ElementsAre(ContainsRegex("^ara-log: .*" + regex), EndsWith("warn a"), EndsWith("warn b"));
}

TEST(EnvironmentTest, SetsApplicationLevelAndSinksAndReportsOnceWhatItDoesNotAccept) {
  const std::pair<std::string, Matcher<Lines>> cases[] = {
      {"ARA_LOG_APP_ID=APPL writer CTXT \"$(printf 'one\\ntwo\\r\\033[31m\\tthree')\"",
       ElementsAre(MatchesRegex("20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-2][0-9](:[0-5][0-9]){2}\\.[0-9]{6}Z APPL "
                                "CTXT warn one\\\\ntwo\\\\r\\\\x1b\\[31m\tthree"))},
      {"writer CTXT a", ElementsAre(EndsWith("Z log- CTXT warn a"))},
      {"ARA_LOG_LEVEL=info writer CTXT a",
       ElementsAre(EndsWith("CTXT warn a"), EndsWith("CTXT info child"), EndsWith("EXIT info ends"))},
      {"ARA_LOG_LEVEL=error writer CTXT a", IsEmpty()},
      {"ARA_LOG_SINK=none writer CTXT a", IsEmpty()},
      {"ARA_LOG_SINK=console,,console writer CTXT a", SizeIs(2)},
      {"ARA_LOG_SINK=file:/dev/full,console writer CTXT a", SizeIs(1)},
      {"writer CTXT a 2>&-", IsEmpty()},
      {"ulimit -f 0; writer CTXT a", IsEmpty()},  // SIGXFSZ
      {"ARA_LOG_LEVEL=loud writer CTXT a b", OneComplaint("'loud'.*off, fatal, error, warn, info, debug")},
      {"ARA_LOG_SINK=syslog writer CTXT a b", OneComplaint("'syslog'.*console, file:PATH")},
      {"ARA_LOG_SINK=file:/no/log,console writer CTXT a b", OneComplaint("'/no/log'.*No such file")},
      {"ARA_LOG_APP_ID=LONGAPP writer CTXT a b", OneComplaint("'LONGAPP'.*'LONG'")},
      {"writer CONTEXT a b", OneComplaint("'CONTEXT'.*'CONT'")},
  };
  for (const auto& [command, expected] : cases) EXPECT_THAT(StderrOf(command), expected) << command;
}

TEST(EnvironmentTest, ProcessesShareAFileThatOnlyItsOwnerReads) {
  const std::string text(300, 'x'), write = "writer CTXT $(yes " + text + " | head -n 500)";
  const Lines lines = StderrOf("umask 0; export ARA_LOG_SINK=file:$0.log\n" + write + " & " + write +
                               "; wait; cat $0.log >&2; stat -c 2%a $0.log >&2");
  EXPECT_THAT(lines, SizeIs(1001));
  EXPECT_THAT(lines, Each(AllOf(StartsWith("2"), AnyOf(EndsWith("Z log- CTXT warn " + text), "2600"))));
}

}  // namespace
