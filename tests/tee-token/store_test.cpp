#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "token_test.h"

namespace token_test {
namespace {

std::string content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

class StoreTest : public TokenTest {
 protected:
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

TEST_F(StoreTest, ASealedValueOpensOnlyWhereItBelongs) {
  ASSERT_EQ(login(), OK);
  const Handles first = generate(), second = generate();
  alter_store("UPDATE attribute SET value = (SELECT value FROM attribute WHERE type = 17 AND object = " +
              std::to_string(second[1]) + ") WHERE type = 17 AND object = " + std::to_string(first[1]));
  Value signature;
  EXPECT_EQ(sign(first[1], CKM_ECDSA_SHA256, {1}, signature), answer(CKR_DEVICE_ERROR));
  EXPECT_EQ(sign(second[1], CKM_ECDSA_SHA256, {1}, signature), OK);
}

TEST_F(StoreTest, WhatCannotBeTrustedIsRefusedAndLeftAsItIs) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  ::chmod(folder().c_str(), 0750);
  EXPECT_EQ(reopen(), answer(CKR_DEVICE_ERROR));
  ::chmod(folder().c_str(), 0700);
  alter_store("PRAGMA user_version = 2");
  EXPECT_EQ(reopen(), answer(CKR_TOKEN_NOT_RECOGNIZED));
  EXPECT_EQ(init_token(kOfficerPin), answer(CKR_TOKEN_NOT_RECOGNIZED));
  alter_store("PRAGMA user_version = 1; PRAGMA application_id = 7");
  EXPECT_EQ(reopen(), answer(CKR_TOKEN_NOT_RECOGNIZED));
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
  EXPECT_EQ(login(), answer(CKR_PIN_INCORRECT));
  put("device.key", key);
  EXPECT_EQ(login(), OK);
}

TEST_F(StoreTest, AlteredAttributesAreDamageNotValues) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  alter_store("UPDATE attribute SET value = x'' WHERE type = 0 AND object = " + std::to_string(keys[1]));
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, signature), answer(CKR_DEVICE_ERROR));
}

TEST_F(StoreTest, ATokenMadeAnewBehindTheLoginIsNotWrittenTo) {
  ASSERT_EQ(login(), OK);
  alter_store("UPDATE token SET serial = 'another'");
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), answer(CKR_DEVICE_REMOVED));
  Value value;
  EXPECT_EQ(read(1, CKA_LABEL, value), answer(CKR_DEVICE_REMOVED));
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_THAT(find(), testing::IsEmpty());
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

TEST_F(StoreTest, AnObjectThatIsNotAsItWasStoredIsDamagedAndNoFault) {
  ASSERT_EQ(login(), OK);
  for (const std::string damage :
       {"UPDATE attribute SET value = x'' WHERE type = 2",
        "UPDATE attribute SET value = x'01' WHERE type = 256",
        "UPDATE attribute SET value = x'0500' WHERE type = 384", "DELETE FROM attribute WHERE type = 384",
        "DELETE FROM attribute WHERE type = 17", "DELETE FROM attribute WHERE type = 0",
        "UPDATE attribute SET value = x'FFFFFFFF00000000' WHERE type = 0"}) {
    const CK_OBJECT_HANDLE key = generate()[1];
    alter_store(damage + " AND object = " + std::to_string(key));
    Value signature;
    EXPECT_EQ(sign(key, CKM_ECDSA, Value(32, 1), signature), answer(CKR_DEVICE_ERROR)) << damage;
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
