// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <fstream>
#include <functional>

#include "store/token.h"
#include "support/token_snapshot.h"
#include "token_state.h"

namespace token_test {
namespace {

namespace fs = std::filesystem;

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// A token with two key pairs and data.
class StoreTest : public TokenStateTest {
 protected:
  StoreTest() {
    EXPECT_EQ(login(), OK);
    keys = generate(Template().text(CKA_LABEL, "first").text(TEE_CKA_VENDOR_CLIENT_ID, "C"));
    generate(Template().text(CKA_LABEL, "second").text(TEE_CKA_VENDOR_KEY_ID, "LYR"));
    for (const char* const value : {"one", "two"}) {
      const Template object = Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_LABEL, "data");
      EXPECT_EQ(create(Template(object).text(CKA_VALUE, value), &data), OK);
      EXPECT_EQ(create(Template(object).flag(CKA_PRIVATE, true).text(CKA_VALUE, value), &secret), OK);
    }
    sound = state();
    store = content_of(file("token.db"));
  }

  void put(const char* name, const std::string& content) {
    fs::remove(file("token.db-journal"));
    std::ofstream(file(name), std::ios::binary) << content;
    fs::permissions(file(name), fs::perms::owner_read | fs::perms::owner_write);
  }

  void expect_nothing_wrong();

  Handles keys;
  CK_OBJECT_HANDLE data = 0, secret = 0;
  std::string sound, store;
};

/// What is read is as it was stored, or an error, or not there; a key signs for no public key but its own;
/// what a search finds has the value that was looked for. A change is made or refused.
void StoreTest::expect_nothing_wrong() {
  const std::string found = state();
  for (const std::string& line : lines_of(found)) {
    const std::string known = line.substr(0, line.find(" without public key"));
    EXPECT_TRUE(has(sound, known) || has(line, "CKR_") || line == "no token") << line;
  }
  if (restart() != OK) return;
  login();
  for (const char* const label : {"first", "second", "data"}) {
    Handles objects;
    find(Template().text(CKA_LABEL, label), objects);
    for (const CK_OBJECT_HANDLE object : objects) {
      Value value;
      EXPECT_TRUE(read(object, CKA_LABEL, value) != OK || std::string(value.begin(), value.end()) == label);
    }
  }
  CK_OBJECT_HANDLE made = 0;
  if (create(data_object(""), &made) == OK) destroy(made);
}

TEST_F(StoreTest, NoDamageToItsBytesGivesAWrongKeyOrValue) {
  constexpr std::size_t kPage = 4096, kPart = 1024;
  std::vector<std::string> damaged;
  for (std::size_t at = 0; at < store.size(); at += 61) {
    damaged.push_back(store);
    damaged.back()[at] = static_cast<char>(store[at] ^ (1 << at % 8));
  }
  for (std::size_t at = 0; at < store.size(); at += kPart) {
    const std::size_t other = (at * 5 + kPage) % store.size() / kPage * kPage;
    damaged.push_back(store.substr(0, at));
    damaged.push_back(std::string(store).replace(at, kPart, kPart, '\0'));
    damaged.push_back(std::string(store).replace(at / kPage * kPage, kPage, store, other, kPage));
  }
  for (std::size_t i = 0; i < damaged.size(); ++i) {
    SCOPED_TRACE("damage " + std::to_string(i));
    put("token.db", damaged[i]);
    expect_nothing_wrong();
  }
}

TEST_F(StoreTest, NoChangeToItsRowsGivesAWrongKeyOrValue) {
  const char* const changes[] = {
      "UPDATE object SET record = (SELECT record FROM object WHERE number = 4) WHERE number = 2",
      "UPDATE object SET record = (SELECT record FROM object WHERE number = 6) WHERE number = 8",
      "UPDATE object SET record = x''",
      "UPDATE object SET record = substr(record, 2)",
      "UPDATE object SET record = CAST(record || x'00' AS BLOB)",
      "UPDATE OR REPLACE object SET number = 4 WHERE number = 2",
      "UPDATE object SET number = number + 100",
      "INSERT INTO object SELECT number + 100, record FROM object",
      "DELETE FROM object WHERE number = 1",
      "UPDATE OR REPLACE attribute_index SET object = 4 WHERE object = 2",
      "UPDATE OR REPLACE attribute_index SET object = object + 1",
      "UPDATE OR REPLACE attribute_index SET value = (SELECT max(value) FROM attribute_index a WHERE a.type "
      "= type)",
      "INSERT OR IGNORE INTO attribute_index SELECT type, value, number FROM attribute_index, object",
      "INSERT OR IGNORE INTO attribute_index SELECT type, value, object + 100 FROM attribute_index",
      "DELETE FROM attribute_index WHERE object = 2",
      "DELETE FROM attribute_index",
      "DELETE FROM token",
      "UPDATE token SET user_key = officer_key, user_salt = officer_salt",
      "UPDATE token SET serial = x'00'",
  };
  for (const char* const change : changes) {
    SCOPED_TRACE(change);
    put("token.db", store);
    alter_store(change);
    expect_nothing_wrong();
  }
}

TEST_F(StoreTest, EqualSecretsNeverSealAlikeAndAreNotInClear) {
  ASSERT_EQ(restart(), OK);
  ASSERT_EQ(login(), OK);
  const Template object = data_object(std::string(2000, 's')).flag(CKA_PRIVATE, true);
  ASSERT_EQ(create(object), OK);
  ASSERT_EQ(create(object), OK);
  EXPECT_FALSE(has(content_of(file("token.db")), std::string(16, 's')));
  alter_store(
      "CREATE TEMP TABLE alike (count CHECK (count = 0));"
      "INSERT INTO alike SELECT count(*) FROM object a, object b WHERE a.number < b.number AND"
      " length(b.record) > 2000 AND instr(a.record, substr(b.record, length(b.record) / 2, 200)) > 0");
}

TEST_F(StoreTest, ADamagedObjectIsPassedOverBySearchesAndCanOnlyBeDestroyed) {
  ASSERT_EQ(restart(), OK);
  ASSERT_EQ(login(), OK);
  const std::string number = std::to_string(keys[1]);
  alter_store("UPDATE object SET record = zeroblob(200) WHERE number = " + number);
  Value value;
  EXPECT_EQ(read(keys[1], CKA_CLASS, value), CKR_DEVICE_ERROR);
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, value), CKR_DEVICE_ERROR);
  EXPECT_EQ(set(keys[1], Template().text(CKA_LABEL, "sound")), CKR_DEVICE_ERROR);
  EXPECT_EQ(copy(keys[1]), CKR_DEVICE_ERROR);
  EXPECT_THAT(find(Template().text(CKA_LABEL, "second")), testing::SizeIs(2)) << "which is not damaged";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(destroy(keys[1]), CKR_DEVICE_ERROR) << "it may be private";
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(open(CKF_SERIAL_SESSION), OK);
  EXPECT_EQ(destroy(keys[1]), CKR_SESSION_READ_ONLY);
  ASSERT_EQ(open(), OK);
  EXPECT_EQ(destroy(keys[1]), OK);
  EXPECT_EQ(destroy(keys[1]), CKR_OBJECT_HANDLE_INVALID);
}

TEST_F(StoreTest, ADamagedTokenRecordIsRefusedAndCostsNoTry) {
  for (const std::string name :
       {"label", "serial", "officer_salt", "officer_key", "user_salt", "user_key", "mac"}) {
    SCOPED_TRACE(name);
    put("token.db", store);
    alter_store("UPDATE token SET " + name + " = CAST(substr(" + name + ", 2) || x'00' AS BLOB)");
    ASSERT_EQ(restart(), OK);
    CK_TOKEN_INFO info{};
    EXPECT_EQ(login(), CKR_DEVICE_ERROR);
    EXPECT_EQ(login(kOfficerPin, CKU_SO), CKR_DEVICE_ERROR);
    EXPECT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), CKR_DEVICE_ERROR);
    EXPECT_EQ(content_of(file("pin-tries")).substr(0, 2), std::string(2, '\0'));
    m_token->C_Finalize(nullptr);
  }
}

TEST_F(StoreTest, AnotherVersionOrApplicationIsRefusedAndLeftAsItIs) {
  for (const char* const change : {"user_version = 99", "user_version = 0", "application_id = 7"}) {
    SCOPED_TRACE(change);
    put("token.db", store);
    alter_store(std::string("PRAGMA ") + change);
    const std::string changed = content_of(file("token.db"));
    EXPECT_NE(restart(), OK);
    EXPECT_NE(init_token(), OK);
    m_token->C_Finalize(nullptr);
    EXPECT_EQ(content_of(file("token.db")), changed);
  }
}

TEST_F(StoreTest, FilesThatAreDamagedOrNotTheTokensOwnAreRefused) {
  const std::vector<std::function<void(const char*)>> faults = {
      [this](const char* name) { fs::resize_file(file(name), 0); },
      [this](const char* name) { fs::permissions(file(name), fs::perms(0660)); },
      [this](const char* name) { put(name, std::string(content_of(file(name)).size(), 'x')); },
      [this](const char* name) { fs::remove(file(name)), fs::create_directory(file(name)); },
      [this](const char* name) {
        fs::create_symlink((fs::rename(file(name), file("moved")), file("moved")), file(name));
      },
  };
  const test_support::TokenSnapshot whole(folder());
  for (const char* const name : {"token.db", "device.key", "pin-tries"}) {
    for (std::size_t i = 0; i < faults.size(); ++i) {
      faults[i](name);
      EXPECT_NE(state(), sound) << name << i;
      fs::remove_all(file(name));
      whole.restore();
    }
  }
  EXPECT_EQ(state(), sound);
  fs::remove(file("device.key"));
  m_token->C_Initialize(nullptr);
  EXPECT_EQ(init_token(), CKR_DEVICE_ERROR);
  EXPECT_FALSE(fs::exists(file("device.key"))) << "a new one would only hide the loss";
  m_token->C_Finalize(nullptr);
  whole.restore();
  fs::permissions(folder(), fs::perms(0750));
  EXPECT_EQ(state(), "CKR_DEVICE_ERROR\n");
}

TEST_F(StoreTest, ATokenThatAnotherProgramMadeAnewIsNotWrittenTo) {
  ASSERT_EQ(restart(), OK);
  ASSERT_EQ(login(), OK);
  alter_store("CREATE TABLE old AS SELECT * FROM object");
  tee_token::Token(tee_token::DeviceFolder(folder()))
      .initialise({kOfficerPin.data(), kOfficerPin.size()}, std::string(32, ' '));
  Value value;
  CK_OBJECT_HANDLE made = 0;
  EXPECT_EQ(create(data_object("")), CKR_DEVICE_REMOVED);
  EXPECT_EQ(read(data, CKA_LABEL, value), CKR_DEVICE_REMOVED);
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(create(data_object(""), &made), OK);
  EXPECT_GT(made, secret) << "no number is used twice";
  alter_store("INSERT INTO object SELECT * FROM old");
  EXPECT_EQ(read(data, CKA_CLASS, value), CKR_DEVICE_ERROR) << "an object of the old token";
}

TEST_F(StoreTest, AStoreThatWasMovedAwayIsNotUsedAnyMore) {
  ASSERT_EQ(restart(), OK);
  ASSERT_EQ(login(), OK);
  fs::rename(file("token.db"), file("moved"));
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA, Value(32, 1), signature), CKR_DEVICE_REMOVED);
  EXPECT_EQ(logout(), OK);
  EXPECT_EQ(login(kWrongPin), CKR_DEVICE_REMOVED) << "and no try is counted";
  fs::rename(file("moved"), file("token.db"));
  EXPECT_EQ(state(), sound);
}

}  // namespace
}  // namespace token_test
