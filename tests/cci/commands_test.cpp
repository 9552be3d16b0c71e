// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "cci_test.h"
#include "ozk/tee/client_cert_initializer_api.h"
#include "tee-token/token_test.h"

namespace cci_test {
namespace {

using testing::HasSubstr;
using testing::Not;

using CommandsTest = CciTest;

TEST_F(CommandsTest, EachCommandDoesItsPartOfAProvisioning) {
  const Case steps[] = {
      {"cci status", 0, "installed: nothing\npending: nothing\n"},
      {"cci generate-key 2>/dev/null", 0, ""},
      {"cci csr --common-name dev-1 | openssl req -inform DER -noout -verify -subject", 0,
       "CN = dev-1, C = DE, O"},
      {"cci csr --common-name dev-1 --pem -o r.pem && " + issue() + " -in r.pem > chain.pem", 0, ""},
      {"cci public-key LYR_CSR -o new.pub && openssl req -in r.pem -noout -pubkey | cmp - new.pub", 0, ""},
      {"cat ca.pem >> chain.pem; cci install - <chain.pem", 0, "installed CN=\"dev-1\""},
      {"cci cert | cmp - chain.pem", 0, ""},
      {"cci public-key | cmp - new.pub", 0, ""},
      {"cci sign --der ca.pem -o s && openssl dgst -sha256 -verify new.pub -signature s ca.pem", 0,
       "Verified OK"},
      {"cci sign ca.pem | wc -c", 0, "64"},
      {"(cci sign --hex ca.pem; cci sign --base64 ca.pem | base64 -d | wc -c) | sed "
       "'s/^[0-9a-f]\\{128\\}$/hex/'",
       0, "hex\n64\n"},
      {"tee-token add-trust-group g ca.pem && cci roots g | cmp - ca.pem", 0, ""},
      {"tee-token add-trust-group none && cci roots none", 0, "has no roots"},
      {"tee-token import-cert 1_11 ca.pem && cci cert BASE | cmp - ca.pem", 0, ""},
      {"openssl ecparam -name prime256v1 -genkey -noout -out b.key && tee-token import-key 1_10 b.key && "
       "openssl pkey -in b.key -pubout -out b.pub && cci sign --key BASE --der ca.pem > s && "
       "openssl dgst -sha256 -verify b.pub -signature s ca.pem",
       0, "Verified OK"},
      {"cci vin", 0, "WXY00TEEDEMO00001\n"},
      {"cci delete && cci delete", 0, "deleted the installed key pair and chain\nnothing was installed\n"},
      {"cci status", 0, "installed: nothing"},
  };
  for (const Case& each : steps) expect(each);
}

TEST_F(CommandsTest, StatusTellsInstalledAndPendingApartAndWhetherTheKeyFits) {
  provision("10");
  run("cci generate-key");
  const std::string said = text("cci status");
  for (const char* part :
       {"subject     CN=\"device\",C=\"DE\"", "issuer      O=\"QAVR\",CN=\"CA\"", "days left",
        "2 certificates", "key fits    it signs", "pending: a key pair waits"}) {
    EXPECT_THAT(said, HasSubstr(part));
  }
  const std::string fingerprint = text("cci cert | openssl x509 -noout -fingerprint -sha256 | cut -d= -f2");
  EXPECT_THAT(said, HasSubstr("SHA-256     " + fingerprint));
  EXPECT_THAT(text("cci status --json"), HasSubstr("\"sha256\": \"" + fingerprint.substr(0, 95)));
  // An application may install what cci would refuse: the token is content when any certificate has the key.
  const std::string reversed =
      text("cci csr --common-name device --pem >r.pem; cat ca.pem; " + issue() + " -in r.pem");
  EXPECT_EQ(ozk::tee::ClientCertInitializerAPI::get_instance()->set_client_cert_and_move_key(
                reversed, "LYR_CSR", "LYR"),
            ozk::tee::ResultCode::OK);
  EXPECT_THAT(text("cci status"), HasSubstr("key fits    NO"));
  EXPECT_THAT(text("cci status --json"), HasSubstr("\"key_matches\": false"));
}

TEST_F(CommandsTest, EachClassOfFailureHasItsCode) {
  provision();
  run("printf x > x; cci cert > chain.pem; (cat chain.pem; cat ca.key) > with-key.pem; head -c 700 chain.pem "
      "> cut.pem");
  const Case cases[] = {
      {"cci frobnicate", 2, "no command frobnicate; see cci --help"},
      {"cci sign --hex --der x", 2, "excludes"},
      {"cci csr", 2, "--common-name is required; see cci csr --help"},
      {"cci csr --common-name $'caf\\xe9'", 2, "--common-name: the name has to be UTF-8"},
      {"cci cert LYR_CSR", 2, "LYR_CSR not in"},
      {"cci vin >/dev/full", 1, "cannot write to stdout: No space"},
      {"cci vin >&-", 1, "cannot write to stdout: Bad file"},
      {"cci --help >/dev/full", 1, "cannot write to stdout"},
      {"(sleep 0.3; cci vin) | true", 1, "Broken pipe"},
      {"cci vin -o /nonexistent/vin", 1, "No such file"},
      {"cci vin -o /dev/full", 1, "No space"},
      {"cci vin -o ''", 1, "cannot write '': No such file"},
      {"ln -s nowhere dangling; cci vin -o dangling", 1, "dangling: No such file"},
      {"readlink dangling", 0, "nowhere"},
      {"cci roots nonesuch", 6, "no trust store group 'nonesuch'"},
      {"cci cert ZEMP", 6, "the token has none"},
      {"cci sign --key BASE --hex x", 6, "no such key"},
      {"cci csr --pem --common-name d", 6, "cci generate-key"},
      {"cci public-key LYR_CSR", 6, "cci generate-key"},
      {"cci install chain.pem", 6, "cci generate-key"},
      {"cci sign /nonexistent", 9, "cannot read /nonexistent: No such file"},
      {"cci sign ''", 9, "cannot read '': No such file"},
      {"cci sign .", 9, "Is a directory"},
      {"cci sign --hex <&-", 9, "cannot read stdin: Bad file"},
#ifndef CCI_SANITIZED  // it needs more than that by itself
      {"(ulimit -v 400000; cci sign --hex /dev/zero)", 9, "cannot read /dev/zero: it does not fit in memory"},
#endif
      {"cci install /dev/null", 9, "is empty"},
      {"cci install x", 9, "x holds no certificate"},
      {"cci generate-key; cci install with-key.pem", 9, "3 parts, of which 2 certificates"},
      {"cci install cut.pem", 9, "of which 1 certificate"},
      {"head -c 300 chain.pem | cci install -", 9, "holds no certificate"},
      {"cci install chain.pem", 7, "no certificate for the key pair that waits"},
      {"cci csr --common-name d --pem | (cat ca.pem; " + issue() + ") | cci install -", 7, "in place 2"},
      {"cci generate-key --json >/dev/full", 1, "No space left on device; the command itself is done"},
      {"TEE_PKCS11_MODULE=/nonexistent.so cci vin", 5, "/nonexistent.so"},
      {"chmod 755 token; cci vin", 5, "chmod 700"},
      {"chmod 700 token; tee-token change-pin --new-pin-hex 31323334 && cci status", 3, "tries left: 9"},
      {"cci generate-key", 3, "tries left: 8"},
      {"for i in 1 2 3 4 5 6 7 8; do cci vin; done; cci vin", 3, "CKR_PIN_LOCKED"},
  };
  for (const Case& each : cases) expect(each);
  EXPECT_EQ(run("tee-token reset-pin --new-pin-hex 343037313832393300; cci cert | cmp - chain.pem").code, 0);
}

TEST_F(CommandsTest, WithoutATokenEachCommandSaysSo) {
  provision();
  run("mv token there; cp ca.pem x");
  for (const std::string folder : {"", "mkdir -m 700 token; "}) {
    for (const char* command : {"generate-key", "csr --pem --common-name d", "install x", "delete", "cert",
                                "cert BASE", "public-key", "sign --hex x", "sign --key BASE --hex x",
                                "roots g", "vin", "status", "provision --common-name d --issue true"}) {
      expect({folder + "cci " + command, 4, "cci: cannot "});
    }
  }
}

TEST_F(CommandsTest, WhatTheTokenRefusesIsToldFromWhatItCannotDo) {
  const auto refuse = [&](const std::string& when) {
    token_test::alter_store(path("token/token.db"), "DROP TRIGGER IF EXISTS no");
    if (!when.empty()) {
      token_test::alter_store(path("token/token.db"), "CREATE TRIGGER no BEFORE " + when +
                                                          " BEGIN SELECT RAISE(ABORT, 'not today'); END");
    }
  };
  refuse("INSERT ON object");
  expect({"cci generate-key", 7, "refused"});
  refuse("");
  run("cci generate-key; cci csr --common-name d --pem | " + issue() + " > chain.pem");
  refuse("INSERT ON object");
  expect({"cci install chain.pem", 5, "cannot store"});
  refuse("INSERT ON attribute WHEN new.type = 0x80001004 AND new.value = x'01'");
  expect({"cci install chain.pem", 7, "cci generate-key"});
  refuse("");
  expect({"cci status", 0, "installed: nothing"});
  run("cci generate-key; cci csr --common-name d --pem | " + issue() + " > chain.pem");
  // The private key of another generation waits, too, as when two generate at once.
  const std::string store = path("token/token.db");
  token_test::alter_store(store,
                          "CREATE TABLE a AS SELECT * FROM attribute WHERE object IN (SELECT object FROM "
                          "attribute WHERE type = 0 AND value = x'0300000000000000');"
                          "CREATE TABLE o AS SELECT * FROM object WHERE number IN (SELECT object FROM a)");
  run("cci generate-key");
  token_test::alter_store(store,
                          "INSERT INTO object SELECT * FROM o; INSERT INTO attribute SELECT * FROM a;"
                          "DROP TABLE o; DROP TABLE a");
  expect({"cci csr --common-name d --pem", 7, "two programs made a key pair"});
  run("cci generate-key; cci csr --common-name d --pem | " + issue() + " > chain.pem");
  refuse("DELETE ON object");
  expect({"cci install chain.pem", 0, "warning: the chain is installed, but"});
  expect({"cci delete", 7, "cci delete again"});
  refuse("");
  expect({"cci cert | cmp - chain.pem", 0, ""});
}

TEST_F(CommandsTest, AFileIsWrittenWholeOrNotAtAll) {
  provision();
  run("cci cert > expected; echo old > real; chmod 640 real; ln -s real link; mkdir full");
  expect({"cci cert -o link && cmp expected real && stat -c %a real && readlink link", 0, "640\nreal\n"});
  expect({"umask 027; cci cert -o new; stat -c %a new", 0, "640"});
  expect({"mkfifo pipe; cat pipe > got & cci cert -o pipe; wait; cmp expected got", 0, ""});
  for (const std::string out : {"-", "/dev/stdout"}) {
    expect({"echo first > log; cci vin -o " + out + " >> log; cat log", 0, "first\nWXY00TEEDEMO00001\n"});
  }
  expect({"cci cert -o /dev/null && test -c /dev/null", 0, ""});
  run("for i in $(seq 20); do cat ca.pem; done > many; tee-token add-trust-group many many");
  expect({"(ulimit -f 8; trap '' XFSZ; cci roots many -o real)", 1, "cannot write"});  // full after 8 KiB
  expect({"cmp expected real && ls | grep -c real", 0, "1\n"});
  // A stdout that does not block, of 4 KiB, and a reader that takes its time.
  expect(
      {"perl -MFcntl -e 'fcntl(STDOUT, 1031, 4096); fcntl(STDOUT, F_SETFL, O_WRONLY | O_NONBLOCK); exec "
       "@ARGV' "
       "cci roots many | (sleep 0.3; grep -c BEGIN)",
       0, "20"});
}

TEST_F(CommandsTest, OnlyDataIsOnStdoutAndAsJsonItIsOneObject) {
  run("cci generate-key");
  const std::string command = "cci provision --common-name d --pem --issue '" + issue() + "'";
  EXPECT_EQ(text(command + " 2>/dev/null"), "");
  EXPECT_EQ(text(command + " --quiet"), "");
  EXPECT_THAT(text(command + " --verbose 2>&1 >/dev/null"), HasSubstr("debug ClientCertInitializer::"));
  EXPECT_THAT(text("ARA_LOG_SINK=file:console cci vin -v 2>&1 >/dev/null"), HasSubstr("debug"));
  EXPECT_THAT(text("cat console"), HasSubstr("debug"));
  EXPECT_THAT(text("cci sign --key BASE --hex ca.pem"), Not(HasSubstr("CCIA")));
  run("tee-token add-trust-group g ca.pem; tee-token import-cert 1_11 ca.pem");
  for (const std::string& each :
       {command, std::string("generate-key"), std::string("csr --common-name d"), std::string("status"),
        std::string("cert"), std::string("cert BASE"), std::string("public-key"),
        std::string("public-key LYR_CSR"), std::string("sign ca.pem"), std::string("sign --der ca.pem"),
        std::string("sign --base64 ca.pem"), std::string("roots g"), std::string("vin"),
        std::string("delete")}) {
    const std::string full = each == command ? command : "cci " + each;
    EXPECT_EQ(run(full + " --json 2>/dev/null | perl -MJSON::PP -0777 -e 'decode_json(<STDIN>)'").code, 0)
        << full;
  }
}

TEST_F(CommandsTest, BinaryDataDoesNotGoToATerminal) {
  provision();
  const std::string program = CCI_FOLDER "/cci ";
  for (const std::string command : {"sign /dev/null", "sign --der /dev/null -o -"}) {
    const Outcome outcome = token_test::on_terminal(program + command, {});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.text, HasSubstr("binary data"));
  }
  EXPECT_EQ(token_test::on_terminal(program + "sign --hex /dev/null", {}).code, 0);
}

TEST_F(CommandsTest, NamesDoNotSteerTheTerminal) {
  run("cci provision --common-name $'\\x1b[2K\\nforged: line' --pem --issue '" + issue() + "'");
  EXPECT_THAT(text("cci status"), HasSubstr(R"(\x1b[2K\x0aforged: line)"));
}

}  // namespace
}  // namespace cci_test
