#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>

#include "admin_shell.h"
#include "openssl_handles.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

/// Another program's connection to a store.
class Writer {
 public:
  explicit Writer(const std::string& path) {
    sqlite3* opened = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &opened), SQLITE_OK);
    m_store.reset(opened);
  }
  void run(const char* sql) const {
    EXPECT_EQ(sqlite3_exec(m_store.get(), sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
  }

 private:
  tee_token::Owned<sqlite3, sqlite3_close> m_store;
};

/// `tee-token backup` and `restore`: a token with one data object, backed up; then it gets another one.
class CopyTest : public TokenTest {
 protected:
  CopyTest() {
    EXPECT_EQ(admin("import-data 2_1 before").code, 0);
    EXPECT_EQ(admin("backup " + copy()).code, 0);
    EXPECT_EQ(admin("import-data 2_2 after").code, 0);
  }

  std::string copy() const { return folder() + ".backup"; }
  static std::string listed() { return admin("list").text; }
};

TEST_F(CopyTest, BringsBackTheTokenAsItWas) {
  EXPECT_EQ(admin("restore " + copy()).code, 1) << "a token is there";
  EXPECT_THAT(listed(), HasSubstr("2 objects"));
  EXPECT_EQ(admin("restore --force " + copy()).code, 0);
  EXPECT_THAT(listed(), HasSubstr("1 object\n"));
  EXPECT_EQ(admin("export 1").text, "before");
  EXPECT_EQ(admin("check").code, 0);
  EXPECT_EQ(login(), OK) << "a program that has had the token open reads on";
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), Answer{CKR_DEVICE_REMOVED})
      << "and changes nothing";
  EXPECT_THAT(admin("import-data 2_3 later").text, HasSubstr("object 3")) << "2 was another object";
}

TEST_F(CopyTest, BringsBackATokenOfWhichOnlyTheDeviceKeyIsLeft) {
  shell("rm " + file("token.db") + " " + file("pin-tries"));
  EXPECT_EQ(admin("restore " + copy()).code, 0);
  EXPECT_EQ(admin("export 1").text, "before");
}

TEST_F(CopyTest, RefusesWhatIsNotThisDevicesOwnCopyAndChangesNothing) {
  const std::string bad = copy() + ".bad";
  const struct {
    std::string make, said;
  } cases[] = {
      {"cp " + file("token.db") + " " + bad, "this is no backup"},
      {"head -c 3000 " + copy() + " > " + bad, "damaged or was altered"},
      {"cp " + copy() + " " + bad + "; printf X | dd conv=notrunc bs=1 seek=2000 of=" + bad,
       "damaged or was altered"},
      {"TEE_TOKEN_DIR=" + folder() + ".other '" TEE_TOKEN_ADMIN "' init; TEE_TOKEN_DIR=" + folder() +
           ".other '" TEE_TOKEN_ADMIN "' backup " + bad + ".1; mv " + bad + ".1 " + bad,
       "backup of another device"},
  };
  for (const auto& each : cases) {
    shell(each.make);
    const Outcome outcome = admin("restore --force " + bad);
    EXPECT_EQ(outcome.code, 1) << each.make;
    EXPECT_THAT(outcome.text, HasSubstr(each.said));
    EXPECT_THAT(listed(), HasSubstr("2 objects"));
  }
}

TEST_F(CopyTest, OverwritesBackupsAloneAndNeverWithADamagedToken) {
  const auto size = std::filesystem::file_size(copy());
  EXPECT_EQ(admin("backup " + file("token.db")).code, 1);
  EXPECT_EQ(admin("backup " + copy()).code, 0);
  EXPECT_EQ(admin("restore --force " + copy()).code + admin("export 2").code, 0) << "the newer copy";
  struct stat status {};
  ::stat(copy().c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  shell("dd conv=notrunc if=/dev/urandom bs=4096 count=1 seek=2 of=" + file("token.db"));
  EXPECT_EQ(admin("backup " + copy()).code, 1);
  EXPECT_EQ(admin("restore --force " + copy()).code, 0);
  EXPECT_THAT(listed(), HasSubstr("2 objects"));
  EXPECT_GE(std::filesystem::file_size(copy()), size);
}

TEST_F(CopyTest, TriesThatWereSpentStaySpent) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(admin("list --pin-hex 31313131").code, 3);
  }
  EXPECT_EQ(admin("restore --force " + copy()).code, 0);
  EXPECT_THAT(listed(), HasSubstr("CKR_PIN_LOCKED"));
}

TEST_F(CopyTest, CopiesWhatWasLastCommittedWhileAChangeIsUnderWay) {
  const Writer writer(file("token.db"));
  writer.run("BEGIN IMMEDIATE; DELETE FROM attribute; DELETE FROM object");
  EXPECT_EQ(admin("backup " + copy()).code, 0);
  EXPECT_THAT(admin("restore --force " + copy()).text, HasSubstr("database is locked"));
  writer.run("COMMIT");
  EXPECT_EQ(admin("restore --force " + copy()).code, 0);
  EXPECT_THAT(listed(), HasSubstr("2 objects"));
}

// A journal of the old store would be played back into the new one.
TEST_F(CopyTest, AJournalThatAStopLeftDoesNoHarm) {
  const std::string store = file("token.db"), journal = store + "-journal", kept = folder() + ".kept";
  {
    const Writer writer(store);
    // With no room in memory the change reaches the file before its end.
    writer.run("PRAGMA cache_size = 1; BEGIN IMMEDIATE; UPDATE attribute SET value = zeroblob(9000)");
    shell("cp " + store + " " + kept + " && cp " + journal + " " + kept + "-journal");
  }
  for (const std::string& damage : {std::string("true"), "echo words > " + store}) {
    ASSERT_EQ(
        shell("cp " + kept + " " + store + " && cp " + kept + "-journal " + journal + " && " + damage).code,
        0);
    EXPECT_EQ(admin("restore --force " + copy()).code, 0);
    EXPECT_EQ(admin("check").code, 0);
    EXPECT_THAT(listed(), HasSubstr("1 object\n")) << damage;
  }
}

}  // namespace
}  // namespace token_test
