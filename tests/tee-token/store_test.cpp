// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

#include "admin_shell.h"
#include "store/token.h"
#include "support/token_snapshot.h"
#include "token_test.h"

namespace token_test {
namespace {

namespace fs = std::filesystem;

/// A token with two key pairs and data, whose module is finalised.
class StoreTest : public TokenTest {
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
    whole.emplace(folder());
  }

  void put(const char* name, const std::string& content) {
    std::ofstream(file(name), std::ios::binary) << content;
    fs::permissions(file(name), fs::perms(0600));
  }
  void start() {
    ASSERT_EQ(restart(), OK);
    ASSERT_EQ(login(), OK);
  }
  std::vector<std::function<void()>> damages() {
    constexpr std::size_t kPage = 4096, kPart = 1024;
    const std::string store = content_of(file("token.db"));
    std::vector<std::string> contents;
    for (std::size_t at = 0; at < store.size(); at += 61) {
      contents.push_back(store);
      contents.back()[at] = static_cast<char>(store[at] ^ (1 << at % 8));
    }
    for (std::size_t at = 0; at < store.size(); at += kPart) {
      const std::size_t other = (at * 5 + kPage) % store.size() / kPage * kPage;
      contents.push_back(store.substr(0, at));
      contents.push_back(std::string(store).replace(at, kPart, kPart, '\0'));
      contents.push_back(std::string(store).replace(at / kPage * kPage, kPage, store, other, kPage));
    }
    std::vector<std::function<void()>> damages;
    for (const auto& content : contents) damages.emplace_back([=] { put("token.db", content); });
    for (const char* const sql : {
             "UPDATE object SET record = (SELECT record FROM object WHERE number = 4) WHERE number = 2",
             "UPDATE object SET record = (SELECT record FROM object WHERE number = 6) WHERE number = 8",
             "UPDATE object SET record = CAST(record || x'00' AS BLOB)",
             "UPDATE object SET number = number + 100",
             "INSERT INTO object SELECT number + 100, record FROM object",
             "UPDATE OR REPLACE attribute_index SET object = object + 1",
             "INSERT OR IGNORE INTO attribute_index SELECT type, value, number FROM attribute_index, object",
             "INSERT OR IGNORE INTO attribute_index SELECT type, value, object + 100 FROM attribute_index",
             "DELETE FROM attribute_index",
             "DELETE FROM token",
         }) {
      damages.emplace_back([=] { alter_store(sql); });
    }
    return damages;
  }

  /// What is read is as it was stored, or an error, or not there; a key signs for no public key but its own;
  /// what a search finds has the value that was looked for. A change is made or refused.
  void expect_nothing_wrong() {
    for (const std::string& line : state()) {
      const auto begins_with_it = [&](const std::string& known) { return known.find(line) == 0; };
      const bool is_error = line.find("CKR_") != std::string::npos;
      EXPECT_TRUE(is_error || std::any_of(sound.begin(), sound.end(), begins_with_it)) << line;
    }
    if (restart() != OK) return;
    login();
    for (const std::string label : {"first", "second", "data"}) {
      for (const CK_OBJECT_HANDLE object : find(Template().text(CKA_LABEL, label))) {
        Value value;
        EXPECT_TRUE(read(object, CKA_LABEL, value) != OK || std::string(value.begin(), value.end()) == label);
      }
    }
    CK_OBJECT_HANDLE made = 0;
    if (create(data_object(""), &made) == OK) destroy(made);
    m_token->C_Finalize(nullptr);
  }

  Handles keys;
  CK_OBJECT_HANDLE data = 0, secret = 0;
  std::vector<std::string> sound;
  std::optional<test_support::TokenSnapshot> whole;
};

TEST_F(StoreTest, NoDamageGivesAWrongKeyOrValue) {
  const auto all = damages();
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE("damage " + std::to_string(i));
    whole->restore();
    all[i]();
    expect_nothing_wrong();
  }
}

TEST_F(StoreTest, EqualSecretsNeverSealAlikeAndAreNotInClear) {
  start();
  const Template object = data_object(std::string(2000, 's')).flag(CKA_PRIVATE, true);
  ASSERT_EQ(create(object), OK);
  ASSERT_EQ(create(object), OK);
  EXPECT_THAT(content_of(file("token.db")), testing::Not(testing::HasSubstr("ssssssssssssssss")));
  alter_store(
      "CREATE TEMP TABLE alike (count CHECK (count = 0));"
      "INSERT INTO alike SELECT count(*) FROM object a, object b WHERE a.number < b.number AND"
      " length(b.record) > 2000 AND instr(a.record, substr(b.record, length(b.record) / 2, 200)) > 0");
}

TEST_F(StoreTest, ADamagedObjectStopsNoSearchAndCanOnlyBeDestroyed) {
  start();
  alter_store("UPDATE object SET record = zeroblob(200) WHERE number = " + std::to_string(keys[1]));
  Value value;
  EXPECT_EQ(read(keys[1], CKA_CLASS, value), CKR_DEVICE_ERROR);
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, value), CKR_DEVICE_ERROR);
  EXPECT_THAT(find(Template().text(CKA_LABEL, "second")), testing::SizeIs(2)) << "which is not damaged";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(destroy(keys[1]), CKR_DEVICE_ERROR) << "it may be private";
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(destroy(keys[1]), OK);
}

TEST_F(StoreTest, ADamagedTokenRecordAndAnotherVersionAreRefusedLeftAsTheyAreAndCostNoTry) {
  std::vector<std::string> changes = {"PRAGMA user_version = 99", "PRAGMA user_version = 0",
                                      "PRAGMA application_id = 7"};
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
  const std::function<void(const char*)> faults[] = {
      [this](const char* name) { fs::resize_file(file(name), 0); },
      [this](const char* name) { fs::permissions(file(name), fs::perms(0660)); },
      [this](const char* name) { put(name, std::string(content_of(file(name)).size(), 'x')); },
      [this](const char* name) {
        fs::create_symlink((fs::rename(file(name), file("moved")), file("moved")), file(name));
      },
  };
  for (const char* const name : {"token.db", "device.key", "pin-tries"}) {
    for (const auto& fault : faults) {
      fault(name);
      EXPECT_NE(state(), sound) << name << ' ' << &fault - faults;
      fs::remove_all(file(name));
      whole->restore();
    }
  }
  EXPECT_EQ(state(), sound);
  fs::remove(file("device.key"));
  m_token->C_Initialize(nullptr);
  EXPECT_EQ(init_token(), CKR_DEVICE_ERROR);
  EXPECT_FALSE(fs::exists(file("device.key"))) << "a new one would only hide the loss";
  m_token->C_Finalize(nullptr);
  whole->restore();
  fs::permissions(folder(), fs::perms(0750));
  EXPECT_EQ(restart(), CKR_DEVICE_ERROR);
}

// Of a user who is not root, who may write to all files.
TEST_F(StoreTest, AReadOnlyStoreIsReadAndItsChangeIsRefused) {
  const uid_t self = ::geteuid(), user = self == 0 ? 65534 : self;
  shell("chown -R " + std::to_string(user) + " '" + folder() + "/..'");
  fs::permissions(file("token.db"), fs::perms(0400));
  ASSERT_EQ(::seteuid(user), 0);
  start();
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, signature), OK);
  EXPECT_EQ(create(data_object("")), CKR_TOKEN_WRITE_PROTECTED);
  ASSERT_EQ(::seteuid(self), 0);
}

TEST_F(StoreTest, ATokenThatAnotherProgramMadeAnewOrMovedIsNotWrittenTo) {
  start();
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
  fs::rename(file("token.db"), file("moved"));
  EXPECT_EQ(login(kWrongPin), CKR_DEVICE_REMOVED) << "and no try is counted";
}

}  // namespace
}  // namespace token_test
