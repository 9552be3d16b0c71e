// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>

#include "cci_test.h"
#include "ozk/tee/client_cert_initializer_api.h"
#include "tee-token/token_test.h"

namespace cci_test {

using CommandsTest = CciTest;

TEST_F(CommandsTest, StatusSaysWhetherTheKeyMatches) {
  run(provision());
  expect({"cci generate-key; cci status", 0, "the private key matches the certificate\npending: a"});
  // Applications may install a chain that cci would refuse: its leaf is not the first.
  const std::string chain =
      text("cci csr --common-name device --pem >r.pem; cat ca.pem; " + issue() + " -in r.pem");
  const auto library = ozk::tee::ClientCertInitializerAPI::get_instance();
  EXPECT_EQ(library->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR"), ozk::tee::ResultCode::OK);
  expect({"cci status", 0, "match       NO"});
  expect({"cci status --json", 0, "\"key_matches\": false"});
}

TEST_F(CommandsTest, EachClassOfResultHasItsCode) {
  run(provision());
  run("printf x > x; cci cert > chain.pem; cat chain.pem ca.key > with-key.pem");
  const Case cases[] = {
      {"cci sign x | wc -c; cci sign --base64 x | base64 -d | wc -c", 0, "64\n64\n"},
      {"tee-token add-trust-group none && cci roots none", 0, "has no roots"},
      {"cci frobnicate", 2, "no command frobnicate; see cci --help"},
      {"cci csr --common-name $'caf\\xe9'", 2, "must be UTF-8"},
      {"cci csr --common-name \"$(printf 'é%.0s' {1..64})\"", 6, "no key pair is pending"},
      {"cci csr --common-name $(printf %065d 0)", 2, "1 to 64 characters; see cci csr --help"},
      {"cci roots nonesuch", 6, "no trust store group 'nonesuch'"},
      {"tee-token import-key 1_10 ca.key && cci sign --key BASE --der x > s && "
       "openssl dgst -sha256 -prverify ca.key -signature s x",
       0, "Verified OK"},
      {"for command in generate-key 'csr --pem --common-name d' delete cert public-key 'sign x' 'roots g' "
       "vin; do TEE_TOKEN_DIR=none cci $command; test $? = 4 || exit; done",
       0, "no token in none; make one"},
      {"TEE_TOKEN_DIR=$PWD/x cci vin", 4, "is a file, not a folder"},
      {"cci install chain.pem", 6, "cci generate-key"},
      {"cci install /dev/null", 9, "is empty"},
      {"cci generate-key; cci install with-key.pem", 9, "2 certificates and 1 part"},
      {"cci install chain.pem", 7, "none of its 2 certificates is for the key; the first is CN=\"device\""},
      {"cci csr --common-name d --pem | (cat ca.pem; " + issue() + ") | cci install -", 7,
       "certificate 2 is the client's; it must be the first"},
      {"cci generate-key --json >/dev/full", 1, "No space left on device; the command itself is done"},
      {"TEE_PKCS11_MODULE=/nonexistent.so cci vin", 5, "/nonexistent.so"},
      {"tee-token change-pin --yes --new-pin-hex 31323334; cci status", 3,
       "run: tee-token reset-pin --platform-pin"},
      {"for i in 1 2 3 4 5 6 7 8 9; do cci generate-key; done; cci vin", 3, "CKR_PIN_LOCKED"},
      {"tee-token reset-pin --platform-pin; cci cert | cmp - chain.pem", 0},
      {"cci delete && cci delete", 0, "nothing was installed"},
  };
  for (const Case& each : cases) expect(each);
}

// The verdict of check-chain, and the exit code of cci.
TEST_F(CommandsTest, BothToolsJudgeAChainAlike) {
  run("cci generate-key; cci csr --common-name d --pem -o r.pem; issue() { openssl x509 -req -in r.pem -CA "
      "ca.pem "
      "-CAkey ca.key \"$@\"; }; echo extendedKeyUsage=serverAuth > server.ext; cp ca.pem a-other; : > "
      "a-empty; "
      "issue > b-version-1; issue -extfile server.ext > b-server; issue -extfile client.ext -days -1 > "
      "b-expired; "
      "issue -extfile client.ext > leaf; cat leaf leaf > b-order; cat ca.pem leaf > c-ca-first; "
      "sed 's/MII/AAA/' ca.pem | cat leaf - > c-part; openssl x509 -in leaf -outform DER > d-der; "
      "openssl req -x509 -key ca.key -out root.pem -subj /CN=other");
  EXPECT_EQ(text(R"(for chain in [a-d]-*; do
  verdict=$(tee-token check-chain --key 10_100 $chain | tail -n 1)
  cci install $chain 2>said; code=$?
  test $code = 0 -o ${chain%%-*} != b || grep -q -- '--force installs it' said || cat said
  echo "$chain: $verdict, $code"
done)"),
            R"(a-empty: the token would take it; cci would refuse it, 9
a-other: would be refused, 7
b-expired: the token would take it; cci would refuse it, 7
b-order: the token would take it; cci would refuse it, 7
b-server: the token would take it; cci would refuse it, 7
b-version-1: the token would take it; cci would refuse it, 7
c-ca-first: the token would take it; cci would refuse it, 7
c-part: the token would take it; cci would refuse it, 9
d-der: would be installed, 0
)");
  run("tee-token add-trust-group other root.pem");
  for (const std::string roots : {"other", "root.pem"}) {
    expect({provision(issue(), "--pem --roots " + roots), 8, "it does not verify with the roots in "});
  }
  expect({"cci status", 0, "CN=\"d\""});
  expect({provision(issue(), "--pem --roots ca.pem"), 0, "verified: "});
  expect(
      {provision(issue("-1"), "--pem --roots other --force") + "; cci status", 0, "1 certificate, expired"});
}

TEST_F(CommandsTest, ARefusalOfTheTokenIsNotTakenForSuccess) {
  const std::string certify = "cci generate-key; cci csr --common-name d --pem | " + issue() + " > chain.pem";
  const std::string refusing = "TEE_PKCS11_MODULE='" FAULTY_MODULE "' FAULTY_MODULE=refuses-";
  expect({refusing + "C_GenerateKeyPair cci generate-key", 7, "refused"});
  run(certify);
  expect({refusing + "C_CreateObject cci install chain.pem", 5, "cannot store"});
  expect({refusing + "installation cci install chain.pem", 7, "cci generate-key"});
  expect({"cci status", 0, "installed: nothing"});
  run(certify);
  expect({refusing + "C_DestroyObject cci install chain.pem", 0, "warning: the chain is installed, but"});
  expect({refusing + "C_DestroyObject cci delete", 7, "cci delete again"});
  expect({"cci cert | cmp - chain.pem", 0});
}

TEST_F(CommandsTest, AFullOrReadOnlyDiskIsAFailureOfTheToken) {
  if (run("unshare --mount true").code != 0) GTEST_SKIP() << "needs the right to mount";
  run(provision());
  run("echo 'mkdir disk; mount -t tmpfs -o size=600k none disk; cp -a token disk; export "
      "TEE_TOKEN_DIR=$PWD/disk/token'"
      " > mount; echo 'for c in generate-key delete \"provision --common-name d --issue cat\"; do cci $c; "
      "test $? = 5 "
      "|| echo wrong: $c; done; tee-token import-data 2_2 a; test $? = 5 && tee-token check' > commands");
  for (const auto& [change, said] :
       {std::pair{"head -c 1M /dev/zero > disk/fill", "disk/token is full; free some space"},
        {"mount -o remount,ro disk", "on a read-only medium"}}) {
    const auto outcome =
        run("unshare --mount bash -c '. ./mount; " + std::string(change) + "; . ./commands'");
    EXPECT_EQ(outcome.code, 10);
    EXPECT_THAT(outcome.text,
                testing::AllOf(testing::HasSubstr(said), testing::Not(testing::HasSubstr("wrong: "))));
  }
}

TEST_F(CommandsTest, AFileIsWrittenWholeOrNotAtAll) {
  run(provision());
  run("cci cert > expected; for i in $(seq 20); do cat ca.pem; done > g; tee-token add-trust-group g g");
  expect({"umask 027; cci cert -o new; cmp expected new && stat -c %a new", 0, "640"});
  expect({"(ulimit -f 8; trap '' XFSZ; cci roots g -o new)", 1, "cannot write"});  // full after 8 KiB
  expect({"cmp expected new && ls | grep -c new", 0, "1\n"});
  expect({"mkfifo pipe; cat pipe > got & cci cert -o pipe; wait; cmp expected got", 0});
  if (::geteuid() == 0) {
    run("chmod 711 .; mkdir -m 1777 all; setpriv --reuid=65534 --clear-groups -- ln -s ../new all/link; "
        "touch all/file; chmod 600 all/file; chown 65534 all/file");
    expect({"! cci vin -o all/link && cmp expected new && cci vin -o all/file && stat -c '%u %a' all/file", 0,
            "cannot follow another user's link all/link: Permission denied\n65534 600"});
  }
  expect({"echo first > log; cci vin -o - >> log; cci vin -o /dev/stdout >> log; wc -l <log", 0, "3\n"});
}

TEST_F(CommandsTest, AsJsonAnAnswerIsOneObjectWithTheseNames) {
  run("tee-token add-trust-group g ca.pem; echo '" + issue() + "' > issue; chmod +x issue");
  EXPECT_EQ(text(R"(while IFS=: read -r names command; do
  printed=$(cci $command --json 2>notes | perl -MJSON::PP -0777 -e 'print join " ", sort keys %{decode_json(<STDIN>)}')
  test "$printed" = "$names" || echo "$command: $printed"
done <<END
public_key sha256:generate-key
common_name request:csr --common-name d
installed pending:provision --pem --common-name d --issue ./issue
installed pending:status
certificates:cert
certificates:roots g
public_key sha256:public-key
algorithm form hex key:sign --der ca.pem
algorithm base64 form key:sign --base64 ca.pem
hex vin:vin
error exit_code:cert BASE
error exit_code:frobnicate
deleted:delete
END)"),
            "");
  EXPECT_EQ(text(provision() + " 2>/dev/null"), "");
  expect({"cci vin -v 2>&1 >/dev/null", 0, "CCIA debug"});
}

TEST_F(CommandsTest, NothingThatSteersATerminalGoesToOne) {
  run("cci provision --common-name $'\\x1b[2K\\nforged: line' --pem --issue '" + issue() + "'");
  expect({"cci status", 0, R"(\x1b[2K\x0aforged: line)"});
  expect({"script -qec 'cci sign ca.pem' /dev/null", 2, "binary data"});
  expect({"script -qec 'cci sign --hex ca.pem' /dev/null", 0});
}

// Runs the commands of a page in one shell and compares what they print with what the page shows. Others may
// run the same page, so the port is another one; and a slow machine takes more than a second to listen.
const char kReplay[] = R"(
rm -rf token *.key *.pem
sed -n '/^    \$ /,/^ \{0,3\}\([^ ]\|$\)/p' "$page" | sed -n 's/^    //p' |
  sed "s/\b4433\b/$((20000 + $$ % 10000))/; s/sleep 1$/until grep -qs ACCEPT server.log; do sleep 0.1; done/" >shown
while IFS= read -r line <&3; do
  case $line in '$ '*) printf '%s\n' "$line"; eval "${line#??}" ;; esac
done 3<shown >printed 2>&1
constant() {
  sed -E 's/([0-9A-F]{2}:){31}[0-9A-F]{2}|[0-9a-f]{128}|[0-9a-f]{38,40}|[0-9-]{10}T[0-9:]{8}Z|[0-9]+ days/#/g' "$1" |
    grep .
}
diff <(constant shown) <(constant printed) && test $(grep -c '^\$' shown) -gt 9 || echo differs)";

TEST_F(CommandsTest, ThePagesShowWhatTheirCommandsPrint) {
  EXPECT_EQ(text("page='" CCI_PROJECT_FOLDER "/docs/cci.md'" + std::string(kReplay)), "");
  if (!std::filesystem::exists("/usr/lib/softhsm/libsofthsm2.so")) GTEST_SKIP() << "README.md uses SoftHSM2";
  EXPECT_EQ(text("page='" CCI_PROJECT_FOLDER "/README.md'" + std::string(kReplay)), "");
}

TEST_F(CommandsTest, TheExamplesOfTheManPagesRun) {
  for (const std::string page : {"cci.1", "tee-token.1"}) {
    expect({"rm -rf token; sed -n '/^.Sh EXAMPLES/,$ s/^[^.].*/&/p' '" CCI_PROJECT_FOLDER "/docs/man/" +
                page +
                R"(' | sed '1d; s/\\e$/\\/; s#/tmp/t$#token#' >example; test -s example && bash -e example)",
            0});
  }
}

TEST_F(CommandsTest, BashCompletesTheCommandsAndOptionsOfTheHelp) {
  EXPECT_EQ(text(R"(. ')" CCI_PROJECT_FOLDER R"(/tools/cci/completion/cci'
offered() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _cci; printf '%s\n' "${COMPREPLY[@]}" | grep -v ^-h | sort; }
commands=$(cci --help | sed -n 's/^  \([a-z][-a-z]*\) .*/\1/p')
diff <(sort <<<"$commands") <(offered cci '' | grep ^[a-z])
for command in $commands; do
  diff <(cci $command --help | grep -o -- '--[a-z][-a-z0-9]*' | sort -u) <(offered cci $command --)
done
wc -w <<<"$commands"
. ')" CCI_PROJECT_FOLDER R"(/tools/tee-token/completion/tee-token'
COMP_WORDS=(tee-token check-chain --r) COMP_CWORD=2; _tee_token; echo "${COMPREPLY[@]}"
COMP_WORDS=(tee-token reset) COMP_CWORD=1; _tee_token; echo "${COMPREPLY[@]}")"),
            "11\n--roots\nreset-pin\n");
}

}  // namespace cci_test
