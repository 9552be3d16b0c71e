// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "cci_test.h"
#include "ozk/tee/client_cert_initializer_api.h"
#include "tee-token/token_test.h"

namespace cci_test {
namespace {

using CommandsTest = CciTest;

// What docs/cci.md does not show.
TEST_F(CommandsTest, KeysSignaturesAndCertificatesAreWhatOpensslTakes) {
  const Case steps[] = {
      {"cci generate-key && cci csr --common-name dev-1 --pem -o r.pem && openssl req -in r.pem -noout "
       "-verify",
       0, "verify OK"},
      {"cci public-key LYR_CSR -o new.pub && openssl req -in r.pem -noout -pubkey | cmp - new.pub", 0},
      {issue() + " -in r.pem > chain.pem; cat ca.pem >> chain.pem; cci install - <chain.pem", 0,
       "installed CN"},
      {"cci cert | cmp - chain.pem && cci public-key | cmp - new.pub", 0},
      {"cci sign ca.pem | wc -c; cci sign --base64 ca.pem | base64 -d | wc -c", 0, "64\n64\n"},
      {"tee-token add-trust-group none && cci roots none", 0, "has no roots"},
      {"tee-token import-cert 1_11 ca.pem && cci cert BASE | cmp - ca.pem", 0},
      {"tee-token import-key 1_10 ca.key && openssl pkey -in ca.key -pubout -out b.pub && "
       "cci sign --key BASE --der ca.pem > s && openssl dgst -sha256 -verify b.pub -signature s ca.pem",
       0, "Verified OK"},
      {"cci delete && cci delete", 0, "nothing was installed"},
  };
  for (const Case& each : steps) expect(each);
}

TEST_F(CommandsTest, StatusSaysWhetherTheKeyMatches) {
  run(provision());
  expect(
      {"cci generate-key; cci status", 0, "match       the private key matches the certificate\npending: a"});
  // Applications may install a chain that cci would refuse: its leaf is not the first.
  const std::string chain =
      text("cci csr --common-name device --pem >r.pem; cat ca.pem; " + issue() + " -in r.pem");
  EXPECT_EQ(ozk::tee::ClientCertInitializerAPI::get_instance()->set_client_cert_and_move_key(chain, "LYR_CSR",
                                                                                             "LYR"),
            ozk::tee::ResultCode::OK);
  expect({"cci status", 0, "match       NO"});
  expect({"cci status --json", 0, "\"key_matches\": false"});
}

TEST_F(CommandsTest, EachClassOfFailureHasItsCode) {
  run(provision());
  run("printf x > x; cci cert > chain.pem; (cat chain.pem; cat ca.key) > with-key.pem; head -c 700 chain.pem "
      "> cut.pem");
  const Case cases[] = {
      {"cci frobnicate", 2, "no command frobnicate; see cci --help"},
      {"cci sign --hex --der x", 2, "excludes"},
      {"cci csr", 2, "--common-name is required; see cci csr --help"},
      {"cci csr --common-name $'caf\\xe9'", 2, "must be UTF-8"},
      {"cci vin >/dev/full", 1, "cannot write to stdout: No space"},
      {"cci vin >&-", 1, "cannot write to stdout: Bad file"},
      {"(cci vin; echo $? >&2) 2>code | :; until test -s code; do :; done; cat code", 0, ""},
      {"cci vin -o /nonexistent/vin", 1, "No such file"},
      {"cci vin -o /dev/full", 1, "No space"},
      {"cci roots nonesuch", 6, "no trust store group 'nonesuch'"},
      {"cci cert ZEMP", 6, "the token has none"},
      {"cci sign --key BASE --hex x", 6, "no such key"},
      {"cci csr --pem --common-name d", 6, "cci generate-key"},
      {"cci public-key LYR_CSR", 6, "cci generate-key"},
      {"cci install chain.pem", 6, "cci generate-key"},
      {"cci sign /nonexistent", 9, "cannot read /nonexistent: No such file"},
      {"cci sign --hex <&-", 9, "cannot read stdin: Bad file"},
      {"cci install /dev/null", 9, "is empty"},
      {"cci install x", 9, "file 'x' holds no certificate"},
      {"cci generate-key; cci install with-key.pem", 9, "2 certificates and 1 part"},
      {"cci install cut.pem", 9, "1 certificate and 1 part"},
      {"cci install chain.pem", 7,
       "no certificate for the pending key pair; the first of 2 is CN=\"device\""},
      {"cci csr --common-name d --pem | (cat ca.pem; " + issue() + ") | cci install -", 7,
       "certificate 2 is the client's"},
      {"cci generate-key --json >/dev/full", 1, "No space left on device; the command itself is done"},
      {"TEE_PKCS11_MODULE=/nonexistent.so cci vin", 5, "/nonexistent.so"},
      {"chmod 755 token; cci vin", 5, "chmod 700"},
      {"chmod 700 token; tee-token change-pin --new-pin-hex 31323334; cci status", 3, "CKR_PIN_INCORRECT"},
      {"for i in 1 2 3 4 5 6 7 8 9; do cci generate-key; done; cci vin", 3, "CKR_PIN_LOCKED"},
      {"tee-token reset-pin --new-pin-hex 343037313832393300; cci cert | cmp - chain.pem", 0},
  };
  for (const Case& each : cases) expect(each);
}

TEST_F(CommandsTest, WithoutATokenEachCommandSaysSo) {
  run(provision() + "; mv token there; cp ca.pem x");
  for (const std::string folder : {"", "mkdir -m 700 token; "}) {
    for (const char* command : {"generate-key", "csr --pem --common-name d", "install x", "delete", "cert",
                                "cert BASE", "public-key", "sign --hex x", "roots g", "vin", "status",
                                "provision --common-name d --issue true"}) {
      expect({folder + "cci " + command, 4, "cci: cannot "});
    }
  }
}

TEST_F(CommandsTest, ARefusalOfTheTokenIsNotTakenForSuccess) {
  const auto refuse = [&](const std::string& when) {
    token_test::alter_store(path("token/token.db"), "DROP TRIGGER IF EXISTS no; CREATE TRIGGER no BEFORE " +
                                                        when +
                                                        " BEGIN SELECT RAISE(ABORT, 'not today'); END");
  };
  const std::string certify = "cci generate-key; cci csr --common-name d --pem | " + issue() + " > chain.pem";
  const std::string never = "INSERT ON object WHEN FALSE";
  refuse("INSERT ON object");
  expect({"cci generate-key", 7, "refused"});
  refuse(never);
  run(certify);
  refuse("INSERT ON object");
  expect({"cci install chain.pem", 5, "cannot store"});
  refuse("INSERT ON object WHEN (SELECT count(*) FROM object) > 3");  // in the exchange
  expect({"cci install chain.pem", 7, "cci generate-key"});
  refuse(never);
  expect({"cci status", 0, "installed: nothing"});
  run(certify);
  refuse("DELETE ON object");
  expect({"cci install chain.pem", 0, "warning: the chain is installed, but"});
  expect({"cci delete", 7, "cci delete again"});
  expect({"cci cert | cmp - chain.pem", 0});
}

TEST_F(CommandsTest, AFileIsWrittenWholeOrNotAtAll) {
  run(provision() +
      "; cci cert > expected; for i in $(seq 20); do cat ca.pem; done > many; "
      "tee-token add-trust-group many many");
  expect({"umask 027; cci cert -o new; cmp expected new && stat -c %a new", 0, "640"});
  expect({"(ulimit -f 8; trap '' XFSZ; cci roots many -o new)", 1, "cannot write"});  // full after 8 KiB
  expect({"cmp expected new && ls | grep -c new", 0, "1\n"});
  expect({"mkfifo pipe; cat pipe > got & cci cert -o pipe; wait; cmp expected got", 0});
  expect({"echo first > log; cci vin -o - >> log; cci vin -o /dev/stdout >> log; wc -l <log", 0, "3\n"});
}

TEST_F(CommandsTest, AsJsonAnAnswerIsOneObjectWithTheseNames) {
  run("tee-token add-trust-group g ca.pem; tee-token import-cert 1_11 ca.pem");
  const std::string key = "public_key sha256", keys =
                                                   " | perl -MJSON::PP -0777 -e "
                                                   "'print join \" \", sort keys %{decode_json(<STDIN>)}'";
  const std::pair<std::string, std::string> commands[] = {
      {provision(), "installed pending"},
      {"cci generate-key", key},
      {"cci csr --common-name d", "common_name request"},
      {"cci status", "installed pending"},
      {"cci cert", "certificates"},
      {"cci roots g", "certificates"},
      {"cci public-key LYR_CSR", key},
      {"cci sign --der ca.pem", "algorithm form hex key"},
      {"cci sign --base64 ca.pem", "algorithm base64 form key"},
      {"cci vin", "hex vin"},
      {"cci delete", "deleted"}};
  for (const auto& [command, names] : commands) {
    EXPECT_EQ(text(command + " --json 2>/dev/null" + keys), names) << command;
  }
}

TEST_F(CommandsTest, NotesAndRecordsGoToStderrAlone) {
  EXPECT_EQ(text(provision() + " 2>/dev/null; " + provision() + " --quiet"), "");
  expect({"ARA_LOG_SINK=file:records cci vin -v 2>&1 >/dev/null; grep debug records", 0, "debug"});
}

TEST_F(CommandsTest, NothingThatSteersATerminalGoesToOne) {
  run("cci provision --common-name $'\\x1b[2K\\nforged: line' --pem --issue '" + issue() + "'");
  EXPECT_THAT(text("cci status"), HasSubstr(R"(\x1b[2K\x0aforged: line)"));
  const std::string sign = CCI_FOLDER "/cci sign /dev/null";
  EXPECT_THAT(token_test::on_terminal(sign, {}).text, HasSubstr("binary data"));
  EXPECT_EQ(token_test::on_terminal(sign + " --hex", {}).code, 0);
}

}  // namespace
}  // namespace cci_test
