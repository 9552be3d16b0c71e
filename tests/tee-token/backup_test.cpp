// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "admin_shell.h"
#include "base/file_descriptor.h"
#include "crypto/openssl_handles.h"
#include "store/token.h"
#include "support/power_cut.h"
#include "support/system_calls.h"
#include "token_test.h"

namespace token_test {
namespace {

using test_support::Fault;
using test_support::Interruption;
using test_support::Lost;
using test_support::TokenSnapshot;
using testing::HasSubstr;

std::string content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

/// A token with a key pair, of which there is a backup.
class BackupTest : public TokenTest {
 protected:
  BackupTest() {
    EXPECT_EQ(login(), OK);
    m_keys = generate();
    EXPECT_EQ(admin("backup " + backup()).code, 0);
  }

  std::string beside(const char* name) const { return (m_files.path() / name).string(); }
  std::string backup() const { return beside("backup"); }

  bool signs() {
    Value signature;
    return sign(m_keys[1], CKM_ECDSA_SHA256, {1}, signature) == OK &&
           verify(m_keys[0], CKM_ECDSA_SHA256, {1}, signature) == OK;
  }

  test_support::TemporaryFolder m_files;
  Handles m_keys;
};

TEST_F(BackupTest, BringsBackTheTokenAndSessionsGoOn) {
  struct stat status {};
  ASSERT_EQ(::stat(backup().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  ASSERT_EQ(destroy(m_keys[1]), OK);
  const Handles later = generate();
  ASSERT_EQ(admin("change-pin --new-pin-hex 31323334").code, 0);
  EXPECT_THAT(admin("list --pin-hex 35353535").text, HasSubstr("tries left: 9"));
  EXPECT_EQ(admin("restore " + backup()).code, 0);
  EXPECT_THAT(admin("list --pin-hex 31323334").text, HasSubstr("tries left: 8"))
      << "neither the PIN nor its tries";
  EXPECT_EQ(find(), m_keys);
  EXPECT_TRUE(signs());
  EXPECT_GT(generate()[0], later[1]) << "a number is not given again";
  restart();
  EXPECT_EQ(login(), OK);
  EXPECT_TRUE(signs());
}

TEST_F(BackupTest, BringsBackATokenOfWhichOnlyTheDeviceKeyIsLeft) {
  for (const bool has_tries : {true, false}) {
    std::filesystem::remove(file("token.db"));
    std::ofstream(file("token.db-journal")) << std::string(9999, 'j');
    if (!has_tries) {
      std::filesystem::remove(file("pin-tries"));
    }
    EXPECT_EQ(admin("restore " + backup()).code, 0);
    restart();
    EXPECT_EQ(login(), OK);
    EXPECT_TRUE(signs());
    EXPECT_EQ(admin("check").code, 0);
  }
  shell("rm " + file("device.key") + " " + file("token.db"));
  EXPECT_THAT(admin("restore " + backup()).text, HasSubstr("device.key"));
  EXPECT_FALSE(std::filesystem::exists(file("token.db")));
}

TEST_F(BackupTest, ATokenThatWasMadeAnewIsOnlyReplacedWithForceAndItsSessionsEnd) {
  ASSERT_EQ(admin("init --force --so-pin-hex 6f666669636572").code, 0);
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  ASSERT_EQ(login(), OK);
  const Outcome refused = admin("restore " + backup());
  EXPECT_EQ(refused.code, 1);
  EXPECT_THAT(refused.text, HasSubstr("--force"));
  EXPECT_THAT(find(), testing::IsEmpty());
  EXPECT_EQ(admin("restore --force " + backup()).code, 0);
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), answer(CKR_DEVICE_REMOVED));
  restart();
  EXPECT_EQ(login(), OK);
  EXPECT_TRUE(signs());
}

TEST_F(BackupTest, WhatIsNotATokensBackupIsRefusedInOneLineAndChangesNothing) {
  const std::string altered = beside("altered");
  const struct {
    const char* sql;
    int code;
    const char* said;
  } cases[] = {
      {"PRAGMA user_version = 99", 1, "version 99"},
      {"PRAGMA application_id = 7", 1, "not the backup of a token"},
      {"CREATE TABLE other (x)", 1, "not those of a token"},
      {"CREATE TRIGGER t AFTER DELETE ON object BEGIN SELECT 1; END", 1, "not those of a token"},
      {"DROP TABLE attribute; CREATE VIEW attribute AS SELECT 1 AS object, 2 AS type, 3 AS value", 1,
       "not those of"},
      {"INSERT INTO object (number, session) VALUES (1 << 62, 0)", 1, "object numbers"},
      {"UPDATE sqlite_sequence SET seq = 1 << 62", 1, "object numbers"},
      {"DELETE FROM token", 1, "nothing of the token"},
      {"DELETE FROM attribute WHERE type = 0", 1, "object 1 of the store is damaged"},
      {"PRAGMA writable_schema = 1; UPDATE sqlite_schema SET rootpage = 2 WHERE name = 'object'", 1,
       "cannot be rest"},
      {"", 0, "restored"},
  };
  for (const auto& each : cases) {
    shell("cp " + backup() + " " + altered);
    token_test::alter_store(altered, each.sql);
    const Outcome outcome = admin("restore " + altered);
    EXPECT_EQ(outcome.code, each.code) << each.sql;
    EXPECT_THAT(outcome.text, HasSubstr(each.said)) << each.sql;
    EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 1) << outcome.text;
    EXPECT_TRUE(signs()) << each.sql;
  }
}

TEST_F(BackupTest, LeavesSessionObjectsAndAttributesWithoutObjectOut) {
  token_test::alter_store(backup(),
                          "INSERT INTO object (number, session) VALUES (8, 1);"
                          "INSERT INTO attribute (object, type, value) VALUES (8, 3, x''), (9, 3, x'')");
  EXPECT_EQ(admin("restore " + backup()).code, 0);
  EXPECT_EQ(find(), m_keys);
  tee_token::Database store(file("token.db"));
  EXPECT_FALSE(store.query("SELECT 1 FROM attribute WHERE object > 7").step());
}

TEST_F(BackupTest, WritesOverNothingButABackup) {
  const std::string words = beside("words");
  std::ofstream(words) << "words";
  std::filesystem::create_symlink(backup(), beside("link"));
  for (const std::string& path :
       {words, beside("link"), m_files.path().string(), file("copy"), folder() + "/../token/x",
        beside("absent/backup"), std::string("''"), std::string("/dev/null")}) {
    const Outcome outcome = admin("backup " + path);
    EXPECT_EQ(outcome.code, 1) << path;
    EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 1) << outcome.text;
  }
  EXPECT_EQ(content(words), "words");
  EXPECT_TRUE(std::filesystem::is_symlink(beside("link")));
  EXPECT_EQ(admin("backup --module " TEE_TOKEN_MODULE " " + backup()).code, 1);
}

TEST_F(BackupTest, ADamagedTokenKeepsItsBackupAndIsNotRestoredOver) {
  const std::string before = content(backup());
  const struct {
    std::string damage, said;
  } cases[] = {
      {"dd conv=notrunc if=/dev/urandom bs=4096 count=2 seek=1 of=" + file("token.db"), "move "},
      {"echo words > " + file("token.db"), "move "},
      {"mv " + file("device.key") + " " + beside("key"), "device.key"},
  };
  shell("cp -a " + folder() + " " + folder() + ".good");
  for (const auto& each : cases) {
    shell("rm -r " + folder() + " && cp -a " + folder() + ".good " + folder() + " && " + each.damage);
    const std::string damaged = content(file("token.db"));
    for (const std::string command : {"backup ", "restore "}) {
      const Outcome outcome = admin(command + backup());
      EXPECT_EQ(outcome.code, 5) << command << each.damage;
      EXPECT_THAT(outcome.text, HasSubstr(command == "backup " ? "no backup was made" : each.said));
    }
    EXPECT_EQ(content(backup()), before);
    EXPECT_EQ(content(file("token.db")), damaged);
  }
  shell("rm -r " + folder() + " && mv " + folder() + ".good " + folder());
  alter_store("DELETE FROM attribute WHERE type = 0");
  EXPECT_THAT(admin("backup " + backup()).text,
              HasSubstr("no backup was made: object 1 of the store is damaged"));
  EXPECT_EQ(content(backup()), before);
  EXPECT_EQ(admin("restore " + backup()).code, 0) << "what SQLite can read is exchanged";
  restart();
  EXPECT_EQ(login(), OK);
  EXPECT_EQ(find(), m_keys);
}

TEST_F(BackupTest, WaitsFiveSecondsForOthersAndTakesThemForNoDamage) {
  sqlite3* opened = nullptr;
  ASSERT_EQ(sqlite3_open(file("token.db").c_str(), &opened), SQLITE_OK);
  const tee_token::Owned<sqlite3, sqlite3_close> store(opened);
  ASSERT_EQ(sqlite3_exec(opened, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  for (const std::string command : {"backup ", "restore "}) {
    const Outcome outcome = admin(command + backup());
    EXPECT_EQ(outcome.code, 5);
    EXPECT_THAT(outcome.text, testing::AllOf(HasSubstr("try again"), testing::Not(HasSubstr("damaged"))));
  }
}

TEST_F(BackupTest, AnOldBackupStaysWholeUntilTheNewOneIs) {
  const std::string old_one = content(backup());
  generate();
  const TokenSnapshot start(m_files.path());
  const auto write = [&] {
    try {
      tee_token::replace_file(backup(), tee_token::Token(tee_token::DeviceFolder(folder())).copy_of_store());
      return true;
    } catch (const tee_token::Failure&) {
      return false;
    }
  };
  // Also where the token is read.
  const std::string watched = m_files.path().parent_path().string() + "/cci-test-";
  test_support::watch_system_calls(watched);
  ASSERT_TRUE(write());
  const auto calls = test_support::stop_watching();
  const std::string new_one = content(backup());
  ASSERT_NE(new_one, old_one);
  const auto expect_whole = [&](bool is_reported, const char* what, std::size_t number) {
    const std::string found = content(backup());
    EXPECT_TRUE(found == new_one || (found == old_one && !is_reported)) << what << " at call " << number;
  };
  for (std::size_t number = 1; number <= calls.size(); ++number) {
    for (const int error : {EIO, ENOSPC}) {
      for (const Fault fault : {Fault::kFailure, Fault::kFailures}) {
        start.restore();
        test_support::watch_system_calls(watched, {fault, number, error});
        const bool is_reported = write();
        test_support::stop_watching();
        expect_whole(is_reported, "failure", number);
      }
    }
    start.restore();
    const pid_t child = ::fork();
    if (child == 0) {
      test_support::watch_system_calls(watched, {Fault::kTornDeath, number});
      write();
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    expect_whole(false, "death", number);
    for (const Lost lost : {Lost::kAll, Lost::kContents, Lost::kNames}) {
      test_support::after_power_cut(start, calls, number, lost).restore();
      expect_whole(number == calls.size(), "power cut", number);
    }
  }
}

}  // namespace
}  // namespace token_test
