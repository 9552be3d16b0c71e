// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <nlohmann/json.hpp>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;
using Json = nlohmann::json;

/// `tee-token check-module` on the platform's token, and on modules that have a fault.
class ModuleCheckTest : public testing::Test {
 protected:
  ModuleCheckTest() {
    ::setenv("TEE_TOKEN_DIR", folder().c_str(), 1);
    ::setenv("TEE_TOKEN_LOG", "off", 1);
  }
  ~ModuleCheckTest() override { ::unsetenv("TEE_TOKEN_LOG"); }

  void init() {
    ASSERT_EQ(admin("init").code, 0);
    ASSERT_EQ(admin("import-data 2_1 VIN").code, 0);
  }

  std::string folder() const { return (m_folder.path() / "token").string(); }
  std::string path(const char* name) const { return (m_folder.path() / name).string(); }
  std::string objects() const { return admin("list --json").text; }

 private:
  test_support::TemporaryFolder m_folder;
};

const std::string kModule = " '" TEE_TOKEN_MODULE "' ";

Outcome check_faulty(const std::string& fault, const std::string& arguments) {
  ::setenv("FAULTY_MODULE", fault.c_str(), 1);
  return admin("check-module '" FAULTY_MODULE "' " + arguments);
}

/// A fault of the module, and what is said of it.
struct Fault {
  const char *name, *clause, *verdict, *found;
};

constexpr Fault kFaults[] = {
    {"leaves files open", "cycles", "wrong", "95 more files are open"},
    {"never logs out", "login-rules", "wrong", "after C_Logout: a private object is found"},
    {"lets all logins pass", "login-rules", "wrong", "CKR_OK instead of CKR_USER_ALREADY_LOGGED_IN"},
    {"finds one part", "many-results", "wrong", "0 results instead of 1"},
    {"finds without vendor attributes", "vendor-attributes", "wrong", "another value of 0x80001002: finds 1"},
    {"finds without vendor attributes", "key-pair", "wrong", "objects found instead of"},
    {"gives bare points", "ec-point", "wrong", "CKA_EC_POINT: is 04"},
    {"gives private keys away", "private-key", "wrong", "gives the private key away"},
    {"changes values", "data", "wrong", "data: its value is another one"},
    {"changes values", "chain", "wrong", "attribute 0x11 reads as"},
    {"changes values", "trust-group", "wrong", "other certificates than were stored"},
    {"signs wrongly", "signature", "wrong", "does not verify"},
    {"aborts", "signature", "wrong", "died by signal 6"},
    {"ends", "signature", "wrong", "the module ended the process"},
    {"hangs", "signature", "wrong", "no end within 3 s"},
    {"has no interface", "interface", "missing", "CKR_ARGUMENTS_BAD"},
    {"has no interface", "installation", "not tried", "needs interface"},
    {"accepts all installations", "refusals", "wrong", "a chain for another key: was not refused"},
    {"destroys what is added", "installation", "wrong", "0 objects of a class are temporary"},
    {"destroys what is installed", "refusals", "wrong", "something was changed"},
};

TEST_F(ModuleCheckTest, TellsEachFaultOfAModuleAndLeavesNothing) {
  init();
  const std::string before = objects();
  for (const Fault& each : kFaults) {
    const std::string limit = each.name == std::string("hangs") ? " --limit 3" : "";
    const Outcome outcome = check_faulty(each.name, "--json --only " + std::string(each.clause) + limit);
    EXPECT_EQ(outcome.code, 20) << each.name;
    const Json clauses = Json::parse(outcome.text).at("clauses");
    for (const Json& clause : clauses) {
      if (clause.at("clause") == each.clause) {
        EXPECT_EQ(clause.at("verdict"), each.verdict) << each.name;
        EXPECT_THAT(clause.at("found").get<std::string>(), HasSubstr(each.found)) << each.name;
      }
    }
    EXPECT_EQ(clauses.back().at("verdict"), "ok") << each.name << outcome.text;
    EXPECT_EQ(objects(), before) << each.name;
  }
}

TEST_F(ModuleCheckTest, WhatCannotBeDestroyedIsNamedAndTheNextCheckRemovesIt) {
  init();
  const std::string before = objects();
  const Outcome outcome = check_faulty("destroys nothing", "--only destroy");
  EXPECT_EQ(outcome.code, 20);
  EXPECT_THAT(outcome.text, HasSubstr("destroy: after C_DestroyObject: it is still found"));
  EXPECT_THAT(outcome.text, HasSubstr("object 2, object 3"));
  EXPECT_NE(objects(), before);
  EXPECT_EQ(admin("check-module" + kModule + "--only destroy").code, 0);
  EXPECT_EQ(objects(), before);
}

TEST_F(ModuleCheckTest, AStopByASignalLeavesNothing) {
  init();
  const std::string before = objects();
  ::setenv("FAULTY_MODULE", "hangs", 1);
  const std::string stopped =
      "'" TEE_TOKEN_ADMIN "' check-module '" FAULTY_MODULE
      "' --only signature >/dev/null & "
      "until '" TEE_TOKEN_ADMIN "' list | grep -q '3 objects'; do sleep 0.1; done; kill $!; wait $!";
  const Outcome outcome = shell(stopped);
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.text, HasSubstr("interrupted; nothing of it is left"));
  EXPECT_EQ(objects(), before);
}

TEST_F(ModuleCheckTest, WithoutATokenOrALoginNothingElseIsTried) {
  const struct {
    const char* prepare;
    std::string arguments;
    int code;
    const char* said;
  } cases[] = {
      {"true", kModule, 4, "missing    token: "},
      {"mkdir -m 700 $TEE_TOKEN_DIR", kModule, 4, "CKR_TOKEN_NOT_RECOGNIZED"},
      {"'" TEE_TOKEN_ADMIN "' init", kModule + "--pin-hex 31323334", 3, "C_Login: CKR_PIN_INCORRECT"},
      {"true", " /nonexistent.so", 5, "cannot open shared object file"},
      {"true", " libc.so.6", 5, "C_GetFunctionList"},
      {"true", " ''", 1, "the file of the module"},
      {"true", kModule + "--pin-hex 3", 1, "hexadecimal"},
      {"true", kModule + "--only nothing", 2, "nothing"},
      {"true", kModule + "--limit 0", 2, "limit"},
  };
  for (const auto& each : cases) {
    ASSERT_EQ(shell(each.prepare).code, 0);
    const Outcome outcome = admin("check-module" + each.arguments);
    EXPECT_EQ(outcome.code, each.code) << outcome.text;
    EXPECT_THAT(outcome.text, HasSubstr(each.said));
    EXPECT_TRUE(each.code < 3 || outcome.text.find("not tried  clean-up") != std::string::npos)
        << outcome.text;
  }
  EXPECT_EQ(check_faulty("takes text for a PIN", "").code, 3);
  ::setenv("TEE_TOKEN_LOG", "failures", 1);
  EXPECT_THAT(admin("list --pin-hex 31323334").text, HasSubstr("tries left: 7")) << "each check took one";
}

TEST_F(ModuleCheckTest, AnotherPinThanTheLibrarysShowsOnlyThatPinsMayBeTooShort) {
  ASSERT_EQ(admin("init --pin-hex 31323334").code, 0);
  const Outcome untried = admin("check-module" + kModule + "--only pin --pin-hex 31323334");
  EXPECT_EQ(untried.code, 21);
  EXPECT_THAT(untried.text, HasSubstr("not tried  pin: the PIN of --pin-hex is not like the library's"));
  const Outcome missing = check_faulty("takes short PINs", "--only pin --pin-hex 31323334");
  EXPECT_EQ(missing.code, 20);
  EXPECT_THAT(missing.text, HasSubstr("missing    pin: PINs have at most 8 bytes"));
}

TEST_F(ModuleCheckTest, WhereAnIdentityIsInstalledNoneIsTried) {
  init();
  make_permanent(folder(), {});
  const Outcome outcome = admin("check-module" + kModule + "--json --only installation");
  EXPECT_EQ(outcome.code, 21);
  EXPECT_THAT(outcome.text, HasSubstr("\"verdict\": \"not tried\""));
  EXPECT_THAT(outcome.text, HasSubstr("use a token without one"));
}

TEST_F(ModuleCheckTest, AnOfficersPinThatIsUnknownCostsOneTry) {
  ASSERT_EQ(admin("init --so-pin-hex 3132333435").code, 0);
  for (int i = 0; i < 2; ++i) {
    const Outcome outcome = admin("check-module" + kModule + "--only trust-group");
    EXPECT_EQ(outcome.code, 21);
    EXPECT_THAT(outcome.text, HasSubstr("--so-pin-hex"));
  }
  ::setenv("TEE_TOKEN_LOG", "failures", 1);
  EXPECT_THAT(admin("add-trust-group x").text, HasSubstr("tries left: 8"));
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  EXPECT_EQ(admin("check-module" + kModule + "--only trust-group --so-pin-hex 3132333435").code, 0);
}

}  // namespace
}  // namespace token_test
