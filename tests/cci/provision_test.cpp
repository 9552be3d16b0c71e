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
  expect({provision(issue() + " -inform DER", ""), 0});
  expect({"perl -e '$SIG{CHLD} = \"IGNORE\"; exec @ARGV' " + provision(), 0, "verified: "});
}

TEST_F(ProvisionTest, AWrongAnswerLeavesTheInstalledIdentity) {
  expect({provision("true"), 8, "nothing is installed yet"});
  run(provision());
  const std::string before = text("cci cert");
  const std::pair<std::string, const char*> cases[] = {
      {issue() + "; exit 3", "exit code 3"},
      {"kill -KILL $$", "signal 9 (Killed)"},
      {"cat", "holds no certificate"},
      {"cat /dev/zero", "more than 16 MiB"},
      {"tty </dev/tty", "exit code"},
      {"cat ca.pem", "none of its 1 certificates is for the key; the"},
      {"echo \"<html>502\"", "the answer begins: <html>502;"},
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
            status, status == 137 ? "" : "interrupted; nothing is installed yet; a new key pair is pending"});
  }
}

TEST_F(ProvisionTest, AnIdentityIsRenewedBeforeItEndsAndNotEarlier) {
  expect({"cci status --days 1", 10, "needs provisioning: yes, nothing is installed"});
  expect({provision(issue("3")), 0});
  const std::string before = text("cci cert");
  const auto renew = [](const std::string& days) {
    return provision(issue("100000"), "--pem --if-expiring " + days + " --after \"echo restarted; exit 3\"");
  };
  expect({"cci status --days 1", 0, "needs provisioning: no"});
  expect({renew("1"), 0, "nothing to do: "});
  EXPECT_EQ(text("cci cert"), before);
  expect({"cci status --days 10 --json", 10, "\"needs_provisioning\": true"});
  expect({renew("10"), 0, "restarted\ncci: warning: the new identity is active, but"});
  expect({"cci status", 0, "valid to    23"});  // behind the end of clocks
  const std::string renewed = text("cci cert");
  EXPECT_NE(renewed, before);
  expect({renew("10"), 0, "nothing to do: "});
  EXPECT_EQ(text("cci cert"), renewed);
  // The chain is valid as long as the certificate that ends first.
  run("openssl req -x509 -key ca.key -days 30 -out ca.pem -subj /O=QAVR/CN=CA");
  expect({provision() + "; cci status --days 60", 10, "(certificate 2)"});
}

}  // namespace cci_test
