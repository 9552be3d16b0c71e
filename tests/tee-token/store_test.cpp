// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include "token_test.h"

namespace token_test {
namespace {

std::string content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

class StoreTest : public TokenTest {
 protected:
  Answer set(CK_OBJECT_HANDLE object, Template changes) {
    return answer(m_token->C_SetAttributeValue(m_session, object, changes.data(), changes.size()));
  }

  /// What a process that starts now is told when it opens a session.
  Answer reopen() {
    m_token->C_Finalize(nullptr);
    m_token->C_Initialize(nullptr);
    return answer(
        m_token->C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &m_session));
  }
};

TEST_F(StoreTest, ObjectsOutliveTheProcessAndTheirNumbersAreNeverUsedTwice) {
  ASSERT_EQ(login(), OK);
  const Handles first = generate();
  restart();
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(find(), first);
  EXPECT_EQ(destroy(first[0]), OK);
  EXPECT_EQ(destroy(first[1]), OK);
  restart();
  ASSERT_EQ(login(), OK);
  EXPECT_GT(generate()[0], first[1]);
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  ASSERT_EQ(init_token(kOfficerPin), OK);
  open();
  CK_OBJECT_HANDLE later = 0;
  ASSERT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true), &later), OK);
  EXPECT_GT(later, first[1] + 2);
}

TEST_F(StoreTest, PrivateValuesAreNeverWrittenInClear) {
  ASSERT_EQ(login(), OK);
  const std::string vin = "WXY00TEETEST00001";
  ASSERT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).text(CKA_VALUE, vin)), OK);
  ASSERT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_VALUE, "readable")), OK);
  EXPECT_EQ(content(file("token.db")).find(vin), std::string::npos);
  EXPECT_NE(content(file("token.db")).find("readable"), std::string::npos);
}

TEST_F(StoreTest, AnObjectThatIsNotAsItWasStoredIsRefusedAndCanOnlyBeDestroyed) {
  const struct {
    std::string sql;
    const char* damaged;
  } cases[] = {
      // The first byte, the last one before the MAC, the last one.
      {"UPDATE object SET record = CAST(x'05' || substr(record, 2) AS BLOB) WHERE number = :key", ":key"},
      {"UPDATE object SET record = CAST(substr(record, 1, length(record) - 33) || x'42' || substr(record, "
       "-32) AS"
       " BLOB) WHERE number = :data",
       ":data"},
      {"UPDATE object SET record = CAST(substr(record, 1, length(record) - 1) || x'00' AS BLOB) WHERE number "
       "="
       " :key AND substr(record, -1) <> x'00'",
       ":key"},
      {"UPDATE object SET record = substr(record, 1, length(record) - 1) WHERE number = :key", ":key"},
      {"UPDATE object SET record = substr(record, 1, length(record) - 32) WHERE number = :key", ":key"},
      {"UPDATE object SET record = x'' WHERE number = :data", ":data"},
      {"UPDATE object SET record = (SELECT record FROM object WHERE number = :other) WHERE number = :key",
       ":key"},
      {"UPDATE object SET number = 9999 WHERE number = :data", "9999"},
      {"INSERT INTO object SELECT 9999, record FROM object WHERE number = :data", "9999"},
  };
  for (const auto& each : cases) {
    ASSERT_EQ(login(), OK);
    const Handles keys = generate(), others = generate();
    CK_OBJECT_HANDLE data = 0;
    const Template object = Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_VALUE, "V");
    ASSERT_EQ(create(Template(object).text(CKA_APPLICATION, "A").text(CKA_LABEL, "L"), &data), OK);
    const auto filled = [&](const std::string& text) {
      const std::string key = std::regex_replace(text, std::regex(":key"), std::to_string(keys[1]));
      const std::string other = std::regex_replace(key, std::regex(":other"), std::to_string(others[1]));
      return std::regex_replace(other, std::regex(":data"), std::to_string(data));
    };
    SCOPED_TRACE(filled(each.sql));
    alter_store(filled(each.sql));
    const CK_OBJECT_HANDLE damaged = std::stoul(filled(each.damaged));
    Value value;
    EXPECT_EQ(read(damaged, CKA_CLASS, value), answer(CKR_DEVICE_ERROR));
    EXPECT_EQ(sign(damaged, CKM_ECDSA_SHA256, {1}, value), answer(CKR_DEVICE_ERROR));
    EXPECT_EQ(set(damaged, Template().text(CKA_LABEL, "sound")), answer(CKR_DEVICE_ERROR));
    EXPECT_THAT(find(Template(object)), testing::Not(testing::Contains(damaged))) << "a value is compared";
    EXPECT_EQ(read(keys[0], CKA_CLASS, value), OK);
    EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
    EXPECT_EQ(destroy(damaged), answer(CKR_DEVICE_ERROR)) << "it may be private";
    ASSERT_EQ(login(), OK);
    EXPECT_EQ(destroy(damaged), OK);
    EXPECT_EQ(destroy(damaged), answer(CKR_OBJECT_HANDLE_INVALID));
    restart();
    alter_store("DELETE FROM object; DELETE FROM attribute_index");
  }
}

TEST_F(StoreTest, ASearchGoesPastADamagedObject) {
  CK_OBJECT_HANDLE first = 0, second = 0;
  const Template object = Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_LABEL, "L");
  ASSERT_EQ(create(object, &first), OK);
  ASSERT_EQ(create(object, &second), OK);
  alter_store("UPDATE object SET record = x'41' WHERE number = " + std::to_string(first));
  EXPECT_THAT(find(object), testing::ElementsAre(first, second));
  EXPECT_THAT(find(Template(object).text(CKA_VALUE, "")), testing::ElementsAre(second));
}

TEST_F(StoreTest, TheRecordDecidesWhetherAnObjectThatTheIndexFindsMatches) {
  CK_OBJECT_HANDLE object = 0;
  ASSERT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_LABEL, "L"), &object), OK);
  alter_store("INSERT INTO attribute_index VALUES (3, x'41', " + std::to_string(object) +
              "), (3, x'4C', 9999)");
  EXPECT_THAT(find(Template().text(CKA_LABEL, "A")), testing::IsEmpty());
  EXPECT_THAT(find(Template().text(CKA_LABEL, "L")), testing::ElementsAre(object));
}

TEST_F(StoreTest, ARecordOfTheTokenThatIsNotAsItWasStoredIsRefusedAndCostsNoTry) {
  const std::string store = content(file("token.db"));
  for (const char* const damage :
       {"label = 'another'", "serial = '0123456789abcdef'",
        "officer_key = user_key, officer_salt = user_salt", "user_key = zeroblob(60)", "user_salt = x'00'",
        "user_salt = NULL, user_key = NULL", "mac = x''",
        // The bytes of the two, cut elsewhere.
        "user_salt = substr(user_salt, 1, 15), user_key = CAST(substr(user_salt, 16) || user_key AS BLOB)"}) {
    SCOPED_TRACE(damage);
    alter_store(std::string("UPDATE token SET ") + damage);
    restart();
    CK_TOKEN_INFO info{};
    EXPECT_EQ(login(), answer(CKR_DEVICE_ERROR));
    EXPECT_EQ(login(kOfficerPin, CKU_SO), answer(CKR_DEVICE_ERROR));
    EXPECT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), answer(CKR_DEVICE_ERROR));
    EXPECT_EQ(content(file("pin-tries")), std::string(2, '\0'));
    m_token->C_Finalize(nullptr);
    std::ofstream(file("token.db"), std::ios::binary) << store;
    EXPECT_EQ(reopen(), OK);
    EXPECT_EQ(login(), OK);
  }
}

TEST_F(StoreTest, AnObjectFromBeforeAnInitialisationIsNotBelieved) {
  CK_OBJECT_HANDLE object = 0;
  ASSERT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true), &object), OK);
  alter_store("CREATE TABLE o AS SELECT * FROM object");
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  ASSERT_EQ(init_token(kOfficerPin), OK);
  alter_store("INSERT INTO object SELECT * FROM o");
  open();
  Value value;
  EXPECT_EQ(read(object, CKA_CLASS, value), answer(CKR_DEVICE_ERROR));
}

TEST_F(StoreTest, WhatCannotBeTrustedIsRefusedAndLeftAsItIs) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  ::chmod(folder().c_str(), 0750);
  EXPECT_EQ(reopen(), answer(CKR_DEVICE_ERROR));
  ::chmod(folder().c_str(), 0700);
  for (const char* const other : {"PRAGMA user_version = 0", "PRAGMA user_version = 2",
                                  "PRAGMA user_version = 1; PRAGMA application_id = 7"}) {
    alter_store(other);
    const std::string before = content(file("token.db"));
    EXPECT_EQ(reopen(), answer(CKR_TOKEN_NOT_RECOGNIZED)) << other;
    EXPECT_EQ(init_token(kOfficerPin), answer(CKR_TOKEN_NOT_RECOGNIZED)) << other;
    EXPECT_EQ(content(file("token.db")), before) << other;
  }
  alter_store("PRAGMA application_id = 0x54454554");
  ASSERT_EQ(reopen(), OK);
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(find(), keys);
}

TEST_F(StoreTest, DamagedFilesAreRefusedByNameOfTheFile) {
  const std::string store = content(file("token.db")), key = content(file("device.key"));
  const auto put = [&](const char* name, const std::string& bytes) {
    std::ofstream(file(name), std::ios::binary | std::ios::trunc) << bytes;
  };
  put("token.db", std::string(store.size(), 'x'));
  EXPECT_EQ(reopen(), answer(CKR_DEVICE_ERROR));
  EXPECT_EQ(init_token(kOfficerPin), answer(CKR_DEVICE_ERROR));
  EXPECT_EQ(content(file("token.db")), std::string(store.size(), 'x'));
  put("token.db", store);

  std::filesystem::remove(file("device.key"));
  reopen();
  EXPECT_EQ(login(), answer(CKR_DEVICE_ERROR));
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  EXPECT_EQ(init_token(kOfficerPin), answer(CKR_DEVICE_ERROR));
  EXPECT_FALSE(std::filesystem::exists(file("device.key"))) << "a new one would only hide the loss";
  put("device.key", key.substr(1));
  ::chmod(file("device.key").c_str(), 0600);
  ASSERT_EQ(reopen(), OK);
  EXPECT_EQ(login(), answer(CKR_DEVICE_ERROR));
  put("device.key", std::string(32, 'x'));
  EXPECT_EQ(login(), answer(CKR_DEVICE_ERROR));
  put("device.key", key);
  EXPECT_EQ(login(), OK);
}

TEST_F(StoreTest, ATokenMadeAnewBehindTheLoginIsNotWrittenTo) {
  ASSERT_EQ(login(), OK);
  const pid_t other = ::fork();
  if (other == 0) {
    m_token->C_Initialize(nullptr);
    ::_exit(init_token(kOfficerPin) == OK ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(other, &status, 0), other);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), answer(CKR_DEVICE_REMOVED));
  Value value;
  EXPECT_EQ(read(1, CKA_LABEL, value), answer(CKR_DEVICE_REMOVED));
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), OK);
}

// Several processes make the token at once: one of them does, the others are told, and its PIN opens it.
TEST_F(StoreTest, OneOfSeveralInitialisationsWins) {
  for (int round = 0; round < 10; ++round) {
    std::filesystem::remove_all(folder());
    m_token->C_Finalize(nullptr);
    std::vector<pid_t> children;
    for (int i = 0; i < 3; ++i) {
      children.push_back(::fork());
      if (children.back() == 0) {
        m_token->C_Initialize(nullptr);
        ::_exit(init_token(kOfficerPin) == OK ? 0 : 1);
      }
    }
    for (const pid_t child : children) {
      int status = 1;
      ::waitpid(child, &status, 0);
      EXPECT_EQ(status, 0) << "all have the same officer's PIN";
    }
    ASSERT_EQ(reopen(), OK);
    EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
  }
}

TEST_F(StoreTest, AStoreThatWasMovedAwayIsNotUsedAnyMore) {
  ASSERT_EQ(login(), OK);
  const CK_OBJECT_HANDLE key = generate()[1];
  std::filesystem::rename(file("token.db"), file("moved"));
  Value signature;
  EXPECT_EQ(sign(key, CKM_ECDSA, Value(32, 1), signature), answer(CKR_DEVICE_REMOVED));
  EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_EQ(login({'w', 'r', 'o', 'n', 'g'}), answer(CKR_DEVICE_REMOVED)) << "and no try is counted";
  std::filesystem::rename(file("moved"), file("token.db"));
  EXPECT_EQ(login(), OK);
  EXPECT_EQ(sign(key, CKM_ECDSA, Value(32, 1), signature), OK);
}

}  // namespace
}  // namespace token_test
