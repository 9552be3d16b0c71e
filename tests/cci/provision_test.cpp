// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <chrono>

#include "cci_test.h"

namespace cci_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ProvisionTest : public CciTest {
 protected:
  std::string installed() const { return text("cci cert 2>/dev/null"); }
  static std::string command(const std::string& backend, const std::string& options = "") {
    return "cci provision --common-name device " + options + " --issue '" + backend + "'";
  }
};

TEST_F(ProvisionTest, ABackendIsAnyCommand) {
  const std::string backends[] = {
      issue(),
      issue() + "; cat ca.pem",
      "cat > r; sleep 0.2; " + issue() + " -in r",
      "openssl x509 -req -CA ca.pem -CAkey ca.key 2>/dev/null >answer; exec cat answer",
      "exec 3>&1 >&-; sleep 0.2; " + issue() + " >&3",
      issue() + " -outform DER",
      "(sleep 30 &) ; " + issue(),
  };
  std::string before;
  for (const std::string& backend : backends) {
    const Outcome outcome = run(command(backend, "--pem"));
    EXPECT_EQ(outcome.code, 0) << backend << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr("verified: "));
    EXPECT_NE(installed(), before) << backend;
    before = installed();
  }
  EXPECT_EQ(run(command("openssl x509 -req -inform DER -CA ca.pem -CAkey ca.key 2>/dev/null")).code, 0);
  expect({"perl -e '$SIG{CHLD} = \"IGNORE\"; exec @ARGV' " + command(issue(), "--pem --timeout 5"), 0,
          "verified: "});
}

TEST_F(ProvisionTest, AnythingElseIsABackendThatFailedAndTheOldIdentityServesOn) {
  provision();
  const std::string before = installed();
  const struct {
    std::string backend;
    const char* said;
  } cases[] = {
      {"exit 3", "exit code 3"},
      {issue() + "; exit 1", "exit code 1"},
      {"nonesuch", "exit code 127"},
      {"kill -KILL $$", "signal 9 (Killed)"},
      {"true", "is empty"},
      {"echo sorry", "holds no certificate"},
      {"cat", "holds no certificate"},
      {"cat ca.pem", "no certificate for the key pair that waits"},
      {"head -c 16000000 /dev/zero | tr \\\\000 0", "more than 16 parts that are no certificates"},
      {"head -c 17000000 /dev/zero", "more than 16 MiB"},
      {"tty </dev/tty", "exit code"},
  };
  for (const auto& each : cases) {
    expect({"timeout 10 " + command(each.backend, "--pem --quiet"), 8, each.said});
    EXPECT_EQ(installed(), before) << each.backend;
  }
  EXPECT_EQ(run("cci sign --hex ca.pem").code, 0);
}

TEST_F(ProvisionTest, AnotherProgramThatTookTheKeyPairIsNamedAsTheReason) {
  const std::string mine = "cat > mine; ", answer = "; " + issue() + " -in mine";
  run("echo \"" + issue() + "\" > issue; chmod +x issue");
  for (const std::string other :
       {"cci generate-key -q", "cci provision -q --pem --common-name other --issue ./issue"}) {
    expect({command(mine + other + answer, "--pem"), 7, "another program made or installed"});
  }
  EXPECT_THAT(text("cci status"), AllOf(HasSubstr("other"), HasSubstr("key fits    it signs")));
}

TEST_F(ProvisionTest, AfterItsTimeTheWholeGroupIsEnded) {
  const auto start = std::chrono::steady_clock::now();
  expect({command("(trap : TERM; while sleep 0.1; do echo >> alive; done) & sleep 60", "--timeout 1"), 8,
          "no answer within 1 s"});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(run("a=$(wc -l <alive); sleep 0.5; test $a -gt 3 -a $a = $(wc -l <alive)").code, 0);
}

TEST_F(ProvisionTest, AnInterruptionEndsTheBackendAndThenTheProgram) {
  const std::pair<std::string, std::string> signals[] = {{"TERM", "143"}, {"HUP", "129"}, {"QUIT", "131"}};
  for (const auto& [signal, status] : signals) {
    const Outcome outcome =
        run("set -m; ulimit -c 0; rm -f alive; " + command("while sleep 0.1; do echo >> alive; done") +
            " & until test -s alive; do sleep 0.1; done; kill -" + signal +
            " $!; wait $!; echo status $?; a=$(wc -l <alive); sleep 0.5; test $a = $(wc -l <alive)");
    EXPECT_EQ(outcome.code, 0) << "the backend works on";
    EXPECT_THAT(outcome.text, HasSubstr("status " + status));
  }
}

TEST_F(ProvisionTest, OnATerminalTheTimeIsSeenAndElsewhereLinesAlone) {
  const std::string slow = CCI_FOLDER "/" + command("sleep 2.2; exit 1");
  EXPECT_THAT(token_test::on_terminal(slow, {}).text, HasSubstr("asking the backend: 2 of 60 s"));
  EXPECT_THAT(run(slow).text, Not(HasSubstr("of 60 s")));
}

TEST_F(ProvisionTest, DatesAreWarnedOf) {
  EXPECT_THAT(provision("-1").text, HasSubstr("warning: certificate 1 of the chain: expired"));
  EXPECT_THAT(text("cci status"), HasSubstr("expired"));
  std::ofstream(path("ca.cnf")) << "[ca]\ndefault_ca = c\n[c]\ndatabase = index\nnew_certs_dir = .\n"
                                   "rand_serial = yes\npolicy = p\n[p]\ncommonName = supplied\n";
  run("touch index; " +
      command("openssl ca -batch -notext -config ca.cnf -cert ca.pem -keyfile ca.key -md sha256 "
              "-startdate 650102030405Z -enddate 23000102030405Z -in /dev/stdin 2>/dev/null",
              "--pem"));
  EXPECT_THAT(text("cci status"), AllOf(HasSubstr("valid from  1965-01-02T03:04:05Z\n"),
                                        HasSubstr("valid to    2300-01-02T03:04:05Z, ")));
}

}  // namespace
}  // namespace cci_test
