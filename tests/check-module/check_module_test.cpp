// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "support/temporary_folder.h"
#include "tee-token/admin_shell.h"

namespace token_test {

/// `tee-token check-module` on a token with one object.
class CheckModuleTest : public testing::Test {
 protected:
  CheckModuleTest() {
    ::setenv("TEE_TOKEN_DIR", (m_folder.path() / "token").c_str(), 1);
    admin("init && '" TEE_TOKEN_ADMIN "' import-data 2_1 VIN");
    m_before = objects();
  }
  static std::string objects() { return admin("list").text; }

  test_support::TemporaryFolder m_folder;
  std::string m_before;
};

TEST_F(CheckModuleTest, FindsEachFaultAndKeepsTheObjectsOfOthers) {
  const std::string cases[][3] = {
      {"dies", "signature", "wrong      signature: died by signal 6 (Aborted)\n"},
      {"hangs", "signature", "wrong      signature: not finished within 2 s; --limit allows more\n"},
      {"logs in twice", "login-rules", "CKR_OK instead of CKR_USER_ALREADY_LOGGED_IN\n"},
      {"signs zeros", "signature", "wrong      signature: a signature of 0 bytes: does not verify\n"},
      {"has no installation", "installation", "not tried  installation: needs interface\n"},
      {"installs half", "installation", "0 objects of a class are temporary instead of 1\n"},
      {"accepts all", "refusals", "wrong      refusals: a chain for another key: was not refused\n"},
      {"destroys nothing", "destroy", "wrong      destroy: after C_DestroyObject: it is still found\n"},
      {"destroys nothing", "data", "wrong      clean-up: destroying what was made: still there: object "},
  };
  for (const auto& [fault, clause, line] : cases) {
    ::setenv("FAULTY_MODULE", fault.c_str(), 1);
    expect({"check-module --limit 2 '" FAULTY_MODULE "' --only " + clause, 20, line});
    EXPECT_EQ(objects() == m_before, fault != "destroys nothing") << fault;
  }
}

TEST_F(CheckModuleTest, FindsAllOnThePlatformsTokenAndOnSoftHsmWhatThePageSays) {
  expect({"check-module '" TEE_TOKEN_MODULE "'", 0, "\n21 ok, 2 measured\n"});
  EXPECT_EQ(objects(), m_before);
  if (!std::filesystem::exists(SOFTHSM)) GTEST_SKIP() << "without SoftHSM2, or with a sanitizer";
  ::setenv("SOFTHSM2_CONF", (m_folder.path() / "conf").c_str(), 1);
  shell("echo directories.tokendir = ${SOFTHSM2_CONF%conf} >$SOFTHSM2_CONF");
  admin("--module " SOFTHSM " init");
  expect({"check-module " SOFTHSM, 20, "\n13 ok, 6 missing, 3 not tried, 1 measured\n"});
}

TEST_F(CheckModuleTest, CountsInOneLineWhatCannotBeTried) {
  expect({"check-module /nonexistent.so", 5, "\nnot tried  the other 22 clauses: need load\n"});
  expect({"check-module " TEE_TOKEN_MODULE " --pin-hex 31323334", 3,
          "\nnot tried  the other 20 clauses: need login\n"});
}

TEST_F(CheckModuleTest, LeavesNothingWhenASignalEndsIt) {
  ::setenv("FAULTY_MODULE", "hangs", 1);
  expect({"check-module " FAULTY_MODULE " --only signature >/dev/null & until " TEE_TOKEN_ADMIN
          " list | grep -q '3 objects'; do sleep 0.1; done; kill $!; wait $!",
          1, "interrupted; what it made is destroyed"});
  EXPECT_EQ(objects(), m_before);
}

}  // namespace token_test
