// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "admin_shell.h"
#include "store/token.h"
#include "support/token_snapshot.h"
#include "token_test.h"

namespace token_test {
namespace {

namespace fs = std::filesystem;

constexpr char kHighestNumber[] = "UPDATE sqlite_sequence SET seq = (1 << 62) - 1";

/// A token with two key pairs and data, whose module is finalised.
class StoreTest : public TokenTest {
 protected:
  StoreTest() {
    EXPECT_EQ(login(), OK);
    keys = generate(Template().text(CKA_LABEL, "first").text(TEE_CKA_VENDOR_CLIENT_ID, "C"));
    generate(Template().text(CKA_LABEL, "second").text(TEE_CKA_VENDOR_KEY_ID, "LYR"));
    for (const char* const value : {"one", "two"}) {
      Template object = data_object(value).text(CKA_LABEL, "data");
      EXPECT_EQ(create(object, &data), OK);
      EXPECT_EQ(create(object.flag(CKA_PRIVATE, true), &secret), OK);
    }
    sound = state();
    whole.emplace(folder());
  }

  void start() {
    ASSERT_EQ(restart(), OK);
    ASSERT_EQ(login(), OK);
  }

  Handles keys;
  CK_OBJECT_HANDLE data = 0, secret = 0;
  std::vector<std::string> sound;
  std::optional<test_support::TokenSnapshot> whole;
};

// What is read is as it was stored, or an error, or not there; a key signs for no public key but its own;
// what a search finds has the value that was looked for. A change is made or refused.
TEST_F(StoreTest, NoDamageGivesAWrongKeyOrValue) {
  for (const char* const sql : {
           "UPDATE object SET record = (SELECT record FROM object WHERE number = 4) WHERE number = 2",
           "UPDATE object SET record = (SELECT record FROM object WHERE number = 6) WHERE number = 8",
           "UPDATE object SET number = number + 100",
           "UPDATE OR REPLACE attribute_index SET object = object + 1",
           "INSERT OR IGNORE INTO attribute_index SELECT type, value, number FROM attribute_index, object",
           "DELETE FROM token",
           kHighestNumber,
           "UPDATE sqlite_sequence SET seq = 1",
           "INSERT INTO object VALUES (~(1 << 63), x'41')",
           "INSERT OR IGNORE INTO attribute_index SELECT type, value, ~(1 << 63) FROM attribute_index",
       }) {
    SCOPED_TRACE(sql);
    whole->restore();
    alter_store(sql);
    for (const std::string& line : state()) {
      if (line.find("CKR_") != std::string::npos) continue;
      EXPECT_THAT(sound, testing::Contains(testing::StartsWith(line)));
    }
    if (restart() != OK) continue;
    login();
    for (const std::string label : {"first", "second", "data"}) {
      const Handles found = find(Template().text(CKA_LABEL, label));
      EXPECT_LE(found.size(), 4u);
      for (const CK_OBJECT_HANDLE object : found) {
        EXPECT_TRUE(read(object, CKA_LABEL) != OK || std::string(m_result.begin(), m_result.end()) == label);
      }
    }
    CK_OBJECT_HANDLE made = 0;
    EXPECT_TRUE(create(data_object(""), &made) != OK || (made > secret && read(made, CKA_VALUE) == OK));
    m_token->C_Finalize(nullptr);
  }
}

TEST_F(StoreTest, WhatWasReadForAUserIsShownToNobodyElse) {
  start();
  const Handles all = find();
  EXPECT_EQ(read(secret, CKA_LABEL), OK);
  ASSERT_EQ(logout(), OK);
  const Handles public_ones = find();
  EXPECT_LT(public_ones.size(), all.size());
  EXPECT_EQ(read(secret, CKA_LABEL), CKR_OBJECT_HANDLE_INVALID);
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(find(), all);
}

TEST_F(StoreTest, EqualSecretsNeverSealAlike) {
  start();
  const Template object = data_object(std::string(2000, 's')).flag(CKA_PRIVATE, true);
  ASSERT_TRUE(create(object) == OK && create(object) == OK);
  alter_store(
      "CREATE TEMP TABLE alike (count CHECK (count = 0));"
      "INSERT INTO alike SELECT count(*) FROM object a, object b WHERE a.number < b.number AND"
      " length(b.record) > 2000 AND instr(a.record, substr(b.record, length(b.record) / 2, 200)) > 0");
}

TEST_F(StoreTest, ADamagedObjectStopsNoSearchAndCanOnlyBeDestroyed) {
  start();
  sqlite3_hard_heap_limit64(50'000'000);
  alter_store("UPDATE object SET record = zeroblob(60000000) WHERE number = " + std::to_string(keys[1]));
  EXPECT_EQ(read(keys[1], CKA_CLASS), CKR_DEVICE_ERROR);
  EXPECT_EQ(sign(keys[1]), CKR_DEVICE_ERROR);
  EXPECT_THAT(find(Template().text(CKA_LABEL, "second")), testing::SizeIs(2)) << "which is not damaged";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(destroy(keys[1]), CKR_DEVICE_ERROR) << "it may be private";
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(destroy(keys[1]), OK);
  const std::string large(12 << 20, 'x');
  const Template unreadable = data_object(large).text(CKA_LABEL, large).text(CKA_APPLICATION, large);
  EXPECT_EQ(create(unreadable), CKR_ATTRIBUTE_VALUE_INVALID);
  alter_store("UPDATE token SET mac = zeroblob(60000000)");
  EXPECT_TRUE(logout() == OK && login() == CKR_DEVICE_ERROR);
  sqlite3_hard_heap_limit64(0);
}

TEST_F(StoreTest, ADamagedTokenRecordAndAnotherVersionAreRefusedLeftAsTheyAreAndCostNoTry) {
  std::vector<std::string> changes = {"PRAGMA user_version = 99", "PRAGMA user_version = 0",
                                      "PRAGMA application_id = 7", "CREATE VIEW v AS SELECT 1",
                                      "CREATE INDEX i ON object (record)"};
  for (const std::string name : {"label", "serial", "officer_salt", "officer_key", "user_key", "mac"}) {
    changes.push_back("UPDATE token SET " + name + " = CAST(substr(" + name + ", 2) || x'00' AS BLOB)");
  }
  for (const std::string& change : changes) {
    SCOPED_TRACE(change);
    whole->restore();
    alter_store(change);
    const std::string changed = content_of(file("token.db"));
    m_token->C_Initialize(nullptr);
    EXPECT_NE(init_token(), OK);
    EXPECT_FALSE(open() == OK && (login() == OK || login_officer() == OK));
    m_token->C_Finalize(nullptr);
    EXPECT_EQ(content_of(file("token.db")), changed);
    EXPECT_EQ(content_of(file("pin-tries")).substr(0, 2), std::string(2, '\0'));
  }
}

TEST_F(StoreTest, FilesThatAreDamagedOrNotTheTokensOwnAreRefused) {
  for (const std::string name : {"token.db", "device.key", "pin-tries"}) {
    for (const std::string fault : {"truncate -s 0 $f", "chmod 660 $f", "mv $f moved; ln -s moved $f",
                                    "yes x | head -c $(stat -c %s $f) > other; cat other > $f"}) {
      shell("cd '" + folder() + "'; f=" + name + "; " + fault);
      EXPECT_NE(state(), sound) << name << ' ' << fault;
      whole->restore();
    }
  }
  EXPECT_EQ(state(), sound);
  fs::permissions(folder(), fs::perms(0755));
  EXPECT_NE(state(), sound);
  fs::permissions(folder(), fs::perms(0700));
  shell("cd '" + folder() + "'; rm token.db; mkfifo -m 600 token.db");
  EXPECT_NE(state(), sound) << "which does not wait for a writer";
  whole->restore();
  fs::remove(file("device.key"));
  m_token->C_Initialize(nullptr);
  EXPECT_EQ(init_token(), CKR_DEVICE_ERROR);
  EXPECT_FALSE(fs::exists(file("device.key"))) << "a new one would only hide the loss";
}

TEST_F(StoreTest, NumbersOutOfRangeAreFoundAndANewTokenHasNone) {
  for (const char* const change : {kHighestNumber, "INSERT INTO object VALUES (-1, x'41')"}) {
    whole->restore();
    alter_store(change);
    expect({"check", 10, "object numbers are out of range"});
    expect({"list", 5, "CKR_DEVICE_ERROR"});
    expect({"init --force --so-pin-hex 6f666669636572", 0});
    expect({"import-data 2_1 VIN", 0});
  }
  start();
  alter_store(kHighestNumber);
  EXPECT_EQ(create(data_object("")), CKR_DEVICE_ERROR);
}

// Of a user who is not root, who may write to all files.
TEST_F(StoreTest, AReadOnlyStoreIsReadAndItsChangeIsRefused) {
  const uid_t self = ::geteuid(), user = self == 0 ? 65534 : self;
  shell("chown -R " + std::to_string(user) + " '" + folder() + "/..'");
  fs::permissions(file("token.db"), fs::perms(0400));
  ASSERT_EQ(::seteuid(user), 0);
  start();
  EXPECT_EQ(sign(keys[1]), OK);
  EXPECT_EQ(create(data_object("")), CKR_TOKEN_WRITE_PROTECTED);
  ASSERT_EQ(::seteuid(self), 0);
}

TEST_F(StoreTest, ATokenThatAnotherProgramMadeAnewOrMovedIsNotWrittenTo) {
  start();
  alter_store("ATTACH '" + file("../old") + "' AS other; CREATE TABLE other.old AS SELECT * FROM object");
  tee_token::Token other{tee_token::DeviceFolder(folder())};
  const std::string officer_pin(kOfficerPin.begin(), kOfficerPin.end());
  other.log_in(tee_token::User::kSecurityOfficer, officer_pin);
  const tee_token::Bytes old_master_key = other.login()->master_key;
  other.initialise(officer_pin, std::string(32, ' '));
  other.log_out();
  other.log_in(tee_token::User::kSecurityOfficer, officer_pin);
  EXPECT_NE(other.login()->master_key, old_master_key);
  CK_OBJECT_HANDLE made = 0;
  EXPECT_EQ(create(data_object("")), CKR_DEVICE_REMOVED);
  EXPECT_EQ(read(data, CKA_LABEL), CKR_DEVICE_REMOVED);
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(create(data_object(""), &made), OK);
  EXPECT_GT(made, secret) << "no number is used twice";
  alter_store("ATTACH '" + file("../old") + "' AS other; INSERT INTO object SELECT * FROM other.old");
  EXPECT_EQ(read(data, CKA_CLASS), CKR_DEVICE_ERROR) << "an object of the old token";
  alter_store("CREATE TRIGGER t AFTER INSERT ON object BEGIN SELECT raise(ABORT, 'it runs'); END");
  EXPECT_EQ(create(data_object("")), OK);
  fs::rename(file("token.db"), file("moved"));
  EXPECT_EQ(login(kWrongPin), CKR_DEVICE_REMOVED) << "and no try is counted";
}

}  // namespace
}  // namespace token_test
