// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "cci_test.h"

namespace cci_test {

using ProvisionTest = CciTest;

TEST_F(ProvisionTest, ABackendIsAnyCommand) {
  std::string before;
  for (const std::string& backend :
       {issue(), "cat > r; " + issue() + " -in r; cat ca.pem", "exec 3>&1 >&-; " + issue() + " >&3",
        issue() + " -outform DER", "(sleep 30 &) ; " + issue()}) {
    expect({provision(backend), 0, "verified: "});
    EXPECT_NE(text("cci cert"), before) << backend;
    before = text("cci cert");
  }
  expect({provision("openssl x509 -req -inform DER -CA ca.pem -CAkey ca.key 2>/dev/null", ""), 0});
  expect({"perl -e '$SIG{CHLD} = \"IGNORE\"; exec @ARGV' " + provision(), 0, "verified: "});
}

TEST_F(ProvisionTest, AWrongAnswerLeavesTheInstalledIdentity) {
  expect({provision("true"), 8, "nothing is installed yet"});
  run(provision());
  const std::string before = text("cci cert");
  const std::pair<std::string, const char*> cases[] = {
      {issue() + "; exit 3", "exit code 3"}, {"kill -KILL $$", "signal 9 (Killed)"},
      {"cat", "holds no certificate"},       {"cat /dev/zero", "more than 16 MiB"},
      {"tty </dev/tty", "exit code"},        {"cat ca.pem", "for the pending key pair"},
  };
  for (const auto& [backend, said] : cases) {
    expect({"timeout 20 " + provision(backend), 8, said});
    EXPECT_EQ(text("cci cert"), before) << backend;
  }
  expect({"cci sign --hex ca.pem", 0});
}

TEST_F(ProvisionTest, AnotherProgramThatTookTheKeyPairIsNamedAsTheReason) {
  run("echo \"" + issue() + "\" > issue; chmod +x issue");
  for (const std::string other :
       {"cci generate-key -q", "cci provision -q --pem --common-name other --issue ./issue"}) {
    expect({provision("cat > mine; " + other + "; " + issue() + " -in mine"), 7, "another program"});
  }
  expect({"cci status", 0, "match       the private key matches the certificate"});
}

// The reader of the pipe meets its end when no process of the group is left that could write to it.
TEST_F(ProvisionTest, AfterItsTimeOrAnInterruptionNoProcessOfTheBackendIsLeft) {
  run("mkfifo alive");
  const std::string hang = provision(
      "exec 3>alive; (trap : TERM; for i in $(seq 300); do echo >begun; sleep 0.1; done; echo left >&3) & "
      "sleep 60",
      "-q");
  const std::string watch = "test -z \"$(timeout 60 cat alive)\" && wait $pid";
  expect({hang + " --timeout 1 & pid=$!; " + watch, 8, "no answer within 1 s"});
  for (const auto& [signal, status] : {std::pair{"INT", 130}, {"TERM", 143}, {"KILL", 137}}) {
    expect({"set -m; rm begun; " + hang + " & pid=$!; (until test -e begun; do sleep 0.1; done; kill -" +
                signal + " $pid) & " + watch,
            status});
  }
}

TEST_F(ProvisionTest, DatesAreWarnedOf) {
  expect({provision(issue("-1")) + "; cci status", 0, "warning: certificate 1 of the chain: expired"});
  expect({provision(issue("100000")) + "; cci status", 0, "valid to    23"});  // behind the end of clocks
}

}  // namespace cci_test
