// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>

#include <algorithm>
#include <regex>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

/// The tee-token program on a folder of its own.
class AdminTest : public testing::Test {
 protected:
  AdminTest() {
    ::setenv("TEE_TOKEN_DIR", token().c_str(), 1);
    ::unsetenv("TEE_TOKEN_LOG");
    shell("openssl ecparam -name prime256v1 -genkey -noout -out " + file("sec1.pem"));
    shell("openssl ecparam -name prime256v1 -genkey -out " + file("genkey.pem"));
    shell("openssl pkcs8 -topk8 -nocrypt -outform DER -in " + file("sec1.pem") + " -out " +
          file("pkcs8.der"));
    shell("openssl req -x509 -new -key " + file("sec1.pem") + " -subj /CN=device -out " + file("cert.pem"));
  }

  std::string token() const { return (m_folder.path() / "below" / "token").string(); }
  /// Of a file in the test's folder, for a shell.
  std::string file(const std::string& name) const { return "'" + (m_folder.path() / name).string() + "'"; }

 private:
  test_support::TemporaryFolder m_folder;
};

TEST_F(AdminTest, MakesFillsShowsAndEmptiesAToken) {
  EXPECT_EQ(admin("init --label Device").code, 0);
  EXPECT_EQ(admin("import-key 1_10 " + file("sec1.pem")).code, 0);
  EXPECT_EQ(admin("import-key 1_20 " + file("pkcs8.der")).code, 0);
  EXPECT_EQ(admin("import-key 1_30 " + file("genkey.pem")).code, 0) << "a block of parameters comes first";
  EXPECT_EQ(admin("import-cert 1_11 " + file("cert.pem")).code, 0);
  EXPECT_EQ(admin("import-data 2_1 VIN").code, 0);
  const Outcome listed = admin("list");
  EXPECT_EQ(listed.code, 0);
  for (const char* part : {"private key 1_10", "private key 1_20", "private key 1_30", "certificate 1_11",
                           "device", "3 bytes", "5 objects"}) {
    EXPECT_THAT(listed.text, HasSubstr(part));
  }
  EXPECT_THAT(admin("list --json").text, HasSubstr("\"label\": \"2_1\""));
  EXPECT_EQ(admin("destroy 1").code, 1) << "a private key";
  EXPECT_EQ(admin("destroy --force 1").code + admin("destroy 4").code, 0);
  EXPECT_THAT(admin("list").text, HasSubstr("3 objects"));
}

TEST_F(AdminTest, WhatIsExportedIsWhatWasImported) {
  ASSERT_EQ(admin("init").code, 0);
  const std::string cert = file("cert.pem"), both = file("roots.pem");
  shell("cat " + cert + " " + cert + " > " + both);
  ASSERT_EQ(admin("import-key 1_10 " + file("sec1.pem")).code, 0);
  ASSERT_EQ(admin("import-cert 1_11 " + cert).code, 0);
  ASSERT_EQ(admin("import-data 2_1 'a VIN'").code, 0);
  ASSERT_EQ(admin("add-trust-group backend " + both).code, 0);
  EXPECT_EQ(admin("export 2").text, shell("cat " + cert).text);
  EXPECT_EQ(admin("export 3").text, "a VIN");
  EXPECT_EQ(admin("export 6").text, shell("cat " + both).text) << "the group's roots";
  EXPECT_EQ(admin("export 1").code, 1);
  EXPECT_THAT(admin("export 1").text, HasSubstr("does not leave the token"));
}

TEST_F(AdminTest, PinsAreChangedAndTheUsersIsReset) {
  ASSERT_EQ(admin("init").code, 0);
  EXPECT_EQ(admin("change-pin --new-pin-hex 31313131").code, 0);
  EXPECT_EQ(admin("list").code, 3);
  EXPECT_EQ(admin("list --pin-hex 31313131").code, 0);
  EXPECT_EQ(shell("echo 32323232 | '" TEE_TOKEN_ADMIN "' change-so-pin").code, 0);
  EXPECT_EQ(admin("reset-pin --new-pin-hex 33333333").code, 3);
  const std::string from_stdin = "'" TEE_TOKEN_ADMIN "' list --pin-hex -";
  EXPECT_EQ(shell("echo 31313131 | " + from_stdin).code, 0);
  EXPECT_EQ(shell(from_stdin + " </dev/null").code, 1) << "an empty line is not the platform's PIN";
  EXPECT_EQ(admin("change-pin --pin-hex 31313131 --new-pin-hex 3131x").code, 1);
  const std::string all_from_stdin = "change-pin --new-pin-hex - --so-pin-hex - --pin-hex -";
  EXPECT_EQ(shell("printf '31313131\n3232\n34343434\n' | '" TEE_TOKEN_ADMIN "' " + all_from_stdin).code, 0);
  EXPECT_EQ(admin("change-pin --pin-hex 34343434 --new-pin-hex 31313131").code, 0);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(admin("list").code, 3);
  }
  EXPECT_THAT(admin("list --pin-hex 31313131").text, HasSubstr("CKR_PIN_LOCKED"));
  EXPECT_EQ(admin("reset-pin --new-pin-hex 33333333 --so-pin-hex 32323232").code, 0);
  EXPECT_EQ(admin("list --pin-hex 33333333").code, 0);
}

TEST_F(AdminTest, OnATerminalANewPinIsAskedForTwiceUnseen) {
  ASSERT_EQ(admin("init").code, 0);
  const std::string change = "'" TEE_TOKEN_ADMIN "' change-so-pin; code=$?; stty -a; exit $code";
  const struct {
    std::vector<std::string> typed;
    int code;
    const char* said;
  } cases[] = {
      {{"31323334\n", "31323343\n"}, 1, "not the same"},
      {{"3132\x03"}, 1, "interrupted"},
      {{"31323334\n", "31\x03"}, 1, "interrupted"},
      {{"31323334\n", "31323334\n"}, 0, "to one of 4 bytes"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(admin("reset-pin --new-pin-hex 31313131").code, 0) << "unchanged before: " << each.said;
    const Outcome outcome = on_terminal(change, each.typed);
    EXPECT_EQ(outcome.code, each.code) << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.said));
    EXPECT_THAT(outcome.text, testing::Not(HasSubstr("3132")));
    EXPECT_THAT(outcome.text, HasSubstr(" echo ")) << "as it was before";
  }
  EXPECT_EQ(admin("reset-pin --new-pin-hex 31313131 --so-pin-hex 31323334").code, 0);
}

TEST_F(AdminTest, WhatTheUserWantsLoggedIsLogged) {
  ASSERT_EQ(admin("init").code, 0);
  ::setenv("TEE_TOKEN_LOG", ("file:" + token() + ".log").c_str(), 1);
  EXPECT_THAT(admin("list --pin-hex 3132333435").text, HasSubstr("tries left: 9"));
  EXPECT_EQ(admin("export 77").code, 1);
  EXPECT_THAT(shell("cat " + token() + ".log").text,
              testing::AllOf(HasSubstr("CKR_PIN_INCORRECT"), testing::Not(HasSubstr("77"))));
  ::unsetenv("TEE_TOKEN_LOG");
}

TEST_F(AdminTest, OfTwoThatMakeATokenAtOnceOneIsRefused) {
  const std::string make = "'" TEE_TOKEN_ADMIN "' init";
  for (int i = 0; i < 10; ++i) {
    const std::string said = shell("rm -rf " + token() + "; (" + make + " & " + make + "; wait)").text;
    EXPECT_THAT(said, HasSubstr("there is a token already"));
  }
}

TEST_F(AdminTest, MakesNoFolderForAnothersToken) {
  ::setenv("TEE_PKCS11_MODULE", "/nowhere/token.so", 1);
  EXPECT_EQ(admin("init").code, 1);
  ::unsetenv("TEE_PKCS11_MODULE");
  EXPECT_NE(shell("ls " + token()).code, 0);
}

TEST_F(AdminTest, TheManualNamesAllThatTheHelpNames) {
  const std::string manual = shell("cat '" CCI_PROJECT_FOLDER "/docs/man/tee-token.1'").text;
  const std::string help = admin("--help").text + admin("--help-all").text;
  const std::regex name(R"((?:\n  |--)([a-z][-a-z]+))");
  const std::sregex_iterator none;
  std::size_t found = 0;
  for (std::sregex_iterator each(help.begin(), help.end(), name); each != none; ++each, ++found) {
    EXPECT_THAT(manual, HasSubstr((*each)[1].str()));
  }
  EXPECT_GT(found, 30u);
  EXPECT_EQ(shell("mandoc -Tlint -Wwarning '" CCI_PROJECT_FOLDER "/docs/man/tee-token.1'").text, "");
}

TEST_F(AdminTest, EachHelpFitsAScreen) {
  const std::string all = admin("--help").text;
  const std::regex name(R"(\n  ([a-z][-a-z]+) +[A-Z])");
  const std::sregex_iterator none;
  std::size_t found = 0;
  for (std::sregex_iterator each(all.begin(), all.end(), name); each != none; ++each, ++found) {
    const std::string help = admin((*each)[1].str() + " --help").text;
    EXPECT_LE(std::count(help.begin(), help.end(), '\n'), 24) << help;
    EXPECT_FALSE(std::regex_search(help, std::regex("[^\n]{81}"))) << help;
  }
  EXPECT_EQ(found, 14u);
}

TEST_F(AdminTest, SaysWhenTheLibraryCannotUseTheToken) {
  EXPECT_THAT(admin("--pin-hex 31323334 init").text, HasSubstr("it cannot use this token"));
  EXPECT_EQ(admin("init --force").text, "made token 'TEE token'\n");
}

TEST_F(AdminTest, NeverOverwritesATokenUnasked) {
  ASSERT_EQ(admin("init").code, 0);
  ASSERT_EQ(admin("import-data 2_1 VIN").code, 0);
  EXPECT_EQ(admin("init").code, 1);
  EXPECT_THAT(admin("list").text, HasSubstr("1 object\n"));
  EXPECT_EQ(admin("init --force").code, 0);
  EXPECT_THAT(admin("list").text, HasSubstr("0 objects"));
}

TEST_F(AdminTest, SaysInOneLineWhatToDo) {
  for (const char* command : {"list", "check", "export 1", "reset-pin --new-pin-hex 31323334"}) {
    EXPECT_EQ(admin(command).code, 4) << command;
  }
  EXPECT_THAT(admin("list").text, HasSubstr("make one with: tee-token init"));
  ASSERT_EQ(admin("init").code, 0);
  ASSERT_EQ(admin("import-data 2_1 VIN").code, 0);
  const std::string parameters = file("parameters.pem");
  shell("openssl ecparam -name prime256v1 -out " + parameters);
  const std::string two_keys = "import-key 1_10 " + file("two.pem");
  shell("cat " + file("sec1.pem") + " " + file("sec1.pem") + " > " + file("two.pem"));
  const struct {
    std::string arguments;
    int code;
    const char* said;
  } cases[] = {
      {"import-data 2_1 OTHER", 1, "tee-token destroy 1"},
      {"import-data 2_x VIN", 1, "expected GROUP_INDEX"},
      {"import-cert 1_11 /nonexistent", 1, "No such file"},
      {"import-cert 1_11 /dev/null", 1, "no X.509 certificate"},
      {"import-key 1_10 /dev/null", 1, "no unencrypted EC private key"},
      {"import-key 1_10 " + parameters, 1, "no unencrypted EC private key"},
      {two_keys, 1, "goes on behind its first key"},
      {"destroy 77", 1, "there is no object 77"},
      {"destroy -1", 2, "-1"},
      {"destroy 99999999999999999999", 2, "99999999999999999999"},
      {"list --pin-hex 3132333435", 3, "tries left: 9"},
      {"list --pin-hex xy", 1, "hexadecimal"},
      {"init --force --so-pin-hex 3132333435", 3, "CKR_PIN_INCORRECT"},
      {"change-pin --new-pin-hex 31", 3, "CKR_PIN_LEN_RANGE"},
      {"change-pin --new-pin-hex", 2, "--new-pin-hex"},
      {"reset-pin </dev/null", 1, "on stdin"},
      {"export 77", 1, "there is no object 77"},
      {"check-chain /dev/null", 2, "--key or --csr"},
      {"check-chain --key 1_1 /dev/null", 1, "no public key 1_1"},
      {"check-chain --csr /dev/null /dev/null", 1, "no certificate request"},
      {"check-chain --csr x --key 1_1 /dev/null", 2, "excludes"},
      {"check --module /nonexistent.so", 1, "/nonexistent.so"},
      {"--module /nonexistent.so list", 1, "/nonexistent.so"},
      {"frobnicate", 2, "--help"},
  };
  for (const auto& each : cases) {
    const Outcome outcome = admin(each.arguments);
    EXPECT_EQ(outcome.code, each.code) << each.arguments;
    EXPECT_THAT(outcome.text, HasSubstr(each.said));
    EXPECT_TRUE(each.code == 2 || std::count(outcome.text.begin(), outcome.text.end(), '\n') == 1)
        << outcome.text;
  }
  ::chmod(token().c_str(), 0755);
  EXPECT_THAT(admin("list").text, HasSubstr("chmod 700 " + token()));
  EXPECT_EQ(admin("list").code, 5);
}

TEST_F(AdminTest, TrustGroupsAreAddedShownAndDestroyedWithTheirRoots) {
  ASSERT_EQ(admin("init").code, 0);
  shell("cat " + file("cert.pem") + " " + file("cert.pem") + " > " + file("roots.pem"));
  EXPECT_EQ(admin("import-cert 1_11 " + file("cert.pem")).code, 0);
  EXPECT_EQ(admin("add-trust-group backend " + file("roots.pem")).code, 0);
  EXPECT_EQ(admin("add-trust-group backend --client OTHER").code, 0);
  const std::string listed = admin("list").text;
  EXPECT_THAT(listed, HasSubstr("certificate 1_11    pre-installed -"));
  EXPECT_THAT(listed, HasSubstr("2  certificate backend trusted       CCI_CLIENT      CN"));
  EXPECT_THAT(listed, HasSubstr("4  trust group backend trusted       CCI_CLIENT      2 roots"));
  EXPECT_THAT(listed, HasSubstr("5  trust group backend trusted       OTHER           0 roots"));
  EXPECT_EQ(admin("destroy 2").code, 0) << "a root by itself";
  EXPECT_THAT(admin("destroy 4").text, HasSubstr("and its 1 root\n"));
  EXPECT_THAT(admin("list").text, HasSubstr("2 objects"));
  EXPECT_EQ(admin("destroy 5").code + admin("destroy 1").code, 0);
}

TEST_F(AdminTest, AGroupIsAddedWholeOrNotAtAll) {
  ASSERT_EQ(admin("init").code, 0);
  const std::string cert = file("cert.pem"), roots = file("roots.pem"), add = "add-trust-group backend ";
  const struct {
    const char* fault;
    std::string arguments, said;
  } cases[] = {
      {"no file", add + "/nonexistent", "No such file"},
      {"no file name", add + "''", "No such file"},
      {"a folder", add + "/", "cannot read /"},
      {"empty", add + "/dev/null", "holds no X.509 certificate"},
      {"words between", "cat #; echo two; cat #", "line 11: "},
      {"words behind", "cat #; echo end", "line 11: "},
      {"a key", "cat # " + file("sec1.pem"), "line 11: "},
      {"cut", "cat #; head -n 5 #", "line 11: "},
      {"cut before a whole one", "head -n 5 #; cat #", "line 1: "},
      {"no certificate in the block", "sed 's/^MII/AAA/' #", "line 1: "},
      {"two in one block",
       "echo -----BEGIN CERTIFICATE-----; (openssl x509 -in # -outform DER; openssl x509 -in # -outform DER) "
       "| "
       "base64; echo -----END CERTIFICATE-----",
       "line 1: "},
      {"empty identifier", "add-trust-group '' " + cert, "not empty"},
      {"empty client", add + cert + " --client ''", "not empty"},
      {"another's PIN", add + cert + " --so-pin-hex 3132333435", "PIN of the security officer"},
  };
  for (auto each : cases) {
    if (each.said.find("line") == 0) {
      const std::string made = std::regex_replace(each.arguments, std::regex("#"), cert);
      shell("(" + made + ") > " + roots);
      each.arguments = add + roots;
    }
    const Outcome outcome = admin(each.arguments);
    EXPECT_EQ(outcome.code, each.fault == std::string("another's PIN") ? 3 : 1) << each.fault;
    EXPECT_THAT(outcome.text, HasSubstr(each.said)) << each.fault;
    EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 1) << outcome.text;
  }
  EXPECT_THAT(admin("list").text, HasSubstr("0 objects"));
  ASSERT_EQ(admin(add).code, 0);
  EXPECT_THAT(admin(add + cert).text, HasSubstr("tee-token destroy 1"));
  EXPECT_THAT(admin("list").text, HasSubstr("1 object\n"));
}

TEST_F(AdminTest, WhatAStopLeftOfAGroupIsRemovedByTheNextAttempt) {
  ASSERT_EQ(admin("init").code, 0);
  const std::string one = file("cert.pem"), three = file("roots.pem");
  shell("for i in 1 2 3; do cat " + one + "; done > " + three);
  ASSERT_EQ(admin("add-trust-group other " + three).code, 0);
  alter_store(token() + "/token.db",
              "CREATE TRIGGER stop BEFORE INSERT ON attribute WHEN new.type = 0 AND new.value = "
              "x'0110008000000000' BEGIN SELECT RAISE(ABORT, 'no group today'); END");
  EXPECT_EQ(admin("add-trust-group backend " + three).code, 5);
  EXPECT_THAT(admin("list").text, HasSubstr("7 objects")) << "roots, no group";
  alter_store(token() + "/token.db", "DROP TRIGGER stop");
  ASSERT_EQ(admin("add-trust-group backend " + one).code, 0);
  for (const char* part : {"3 roots", "1 root\n", "6 objects"}) {
    EXPECT_THAT(admin("list").text, HasSubstr(part));
  }
}

TEST_F(AdminTest, OfTwoThatAddOneGroupAtOnceOneIsRefused) {
  ASSERT_EQ(admin("init").code, 0);
  const std::string roots = file("roots.pem"), add = "'" TEE_TOKEN_ADMIN "' add-trust-group ";
  shell("for i in 1 2 3 4 5 6 7 8; do cat " + file("cert.pem") + "; done > " + roots);
  for (const std::string name : {"a", "b", "c"}) {
    const std::string one = add + name + " " + roots, other = add + name + " " + file("cert.pem");
    const std::string both = "(" + one + " & " + other + "; wait)";
    const std::string said = shell(both).text;
    EXPECT_THAT(said, HasSubstr("stored trust group " + name));
    EXPECT_THAT(said, HasSubstr("tee-token destroy "));
  }
  const std::string listed = admin("list").text;
  std::size_t objects = 0;
  for (const char* name : {"a", "b", "c"}) {
    const std::string group = std::string("trust group ") + name + " ";
    EXPECT_EQ(listed.find(group), listed.rfind(group));
    const std::string line =
        listed.substr(listed.find(group), listed.find('\n', listed.find(group)) - listed.find(group));
    objects += line.find("8 roots") != std::string::npos ? 9 : 2;
  }
  EXPECT_THAT(listed, HasSubstr(std::to_string(objects) + " objects"))
      << "each group whole, and nothing else";
}

TEST_F(AdminTest, NamesDoNotSteerTheTerminal) {
  ASSERT_EQ(admin("init").code, 0);
  ASSERT_EQ(admin("add-trust-group 'one\n  9  trust group' --client '\x1b[2K'").code, 0);
  EXPECT_THAT(admin("list").text, HasSubstr(R"(one\x0a  9  trust group trusted       \x1b[2K)"));
}

TEST_F(AdminTest, OthersProgramsReadTheToken) {
  ASSERT_EQ(admin("init").code, 0);
  ASSERT_EQ(admin("import-key 1_10 " + file("sec1.pem")).code, 0);
  ASSERT_EQ(admin("import-cert 1_11 " + file("cert.pem")).code, 0);
  const std::string tool = PRELOAD " pkcs11-tool --module '" TEE_TOKEN_MODULE "' ";
  // The PIN has a zero byte, which no command line carries: what needs no login is shown.
  for (const char* action : {"-L", "-M", "-O"}) {
    const Outcome outcome = shell(tool + action);
    EXPECT_EQ(outcome.code, 0) << outcome.text;
    EXPECT_THAT(outcome.text, testing::Not(HasSubstr("rror")));
  }
  EXPECT_THAT(shell(tool + "-O").text, HasSubstr("Certificate Object"));
}

}  // namespace
}  // namespace token_test
