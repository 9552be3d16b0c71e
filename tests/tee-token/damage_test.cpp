// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

#include "admin_shell.h"
#include "support/long_run.h"
#include "support/power_cut.h"
#include "support/system_calls.h"
#include "support/token_snapshot.h"
#include "token_state.h"

namespace token_test {
namespace {

namespace fs = std::filesystem;
using test_support::Fault;
using test_support::Lost;
using test_support::SystemCall;
using test_support::TokenSnapshot;

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// Private keys that sign, each with the public key that verifies it.
std::vector<std::string> pairs_in(const std::string& text) {
  static const std::string kPair = " pair of ";
  std::vector<std::string> pairs;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t at = line.find(kPair);
    if (at == std::string::npos) continue;
    pairs.push_back(line.substr(0, line.find(':')) + " " + line.substr(at + kPair.size()));
  }
  return pairs;
}

/// A token with two key pairs, a chain, a trusted root and a data object.
class DamageTest : public TokenTest {
 protected:
  DamageTest() {
    EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
    EXPECT_EQ(create(certificate(CKC_X_509).flag(CKA_TRUSTED, true).text(CKA_SUBJECT, "root")), OK);
    EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
    EXPECT_EQ(login(), OK);
    for (const char* label : {"LYR", "BASE"}) generate(Template().text(CKA_LABEL, label));
    EXPECT_EQ(create(certificate(TEE_CKC_CERTIFICATE_CHAIN)), OK);
    EXPECT_EQ(
        create(Class(CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).text(CKA_VALUE, "vehicle")), OK);
    m_token->C_Finalize(nullptr);
    whole.emplace(folder());
    sound = known = learn();
    pairs = pairs_in(sound);
    EXPECT_EQ(pairs.size(), 2U);
  }

  static Template certificate(CK_CERTIFICATE_TYPE type) {
    return Class(CKO_CERTIFICATE)
        .number(CKA_CERTIFICATE_TYPE, type)
        .flag(CKA_TOKEN, true)
        .text(CKA_VALUE, std::string(700, 'c'));
  }

  /// Judges the token with each of many damages to its store, bits flipped at each `distance` among them.
  void damage_everywhere(std::size_t distance);

  std::string learn() { return token_text(*m_token, {kPin}, {kOfficerPin}, 1000); }
  std::string bytes(const char* name) const { return *whole->entries().at(file(name)); }

  void put(const char* name, const std::string& content) {
    auto entries = whole->entries();
    entries[file(name)] = content;
    TokenSnapshot(folder(), entries).restore();
  }

  /// What is there opens as it was, or is refused, or is not there; no key signs for a public key that is not
  /// its own. A change that is tried is made or refused.
  void judge() {
    const std::string found = learn();
    for (const std::string& pair : pairs_in(found)) EXPECT_THAT(pairs, testing::Contains(pair));
    expect_nothing_else(found);
    ++(found == sound ? unchanged : has(found, "CKR_") || has(found, "none yet") ? refused : altered);
    change();
  }

  /// Each line is known, but for what follows the attributes: whether a search still finds the key's other
  /// half.
  void expect_nothing_else(const std::string& found) const {
    std::istringstream lines(found);
    for (std::string line; std::getline(lines, line);) {
      const std::string known_part = line.substr(0, std::min(line.find(" pair of"), line.find(" without")));
      EXPECT_TRUE(has(known, known_part) || has(line, "CKR_") || line == "none yet") << line;
    }
  }

  void change() {
    m_token->C_Initialize(nullptr);
    m_token->C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &m_session);
    login();
    CK_OBJECT_HANDLE object = 0;
    if (create(Class(CKO_DATA).flag(CKA_TOKEN, true).text(CKA_VALUE, "new"), &object) == OK) destroy(object);
    m_token->C_Finalize(nullptr);
  }

  void report(const char* what) const {
    std::cout << "counted: " << unchanged + refused + altered << ' ' << what << ": " << unchanged
              << " without effect, " << refused << " refused, " << altered << " gave an object less\n";
  }

  std::optional<TokenSnapshot> whole;
  std::string sound, known;
  std::vector<std::string> pairs;
  unsigned unchanged = 0, refused = 0, altered = 0;
};

TEST_F(DamageTest, ADamagedStoreNeverGivesAWrongKeyOrValueAndNeverFaults) {
#ifdef CCI_SANITIZED
  damage_everywhere(601);
#else
  damage_everywhere(test_support::isLongRun() ? 1 : 101);
#endif
  report("damaged stores");
}

void DamageTest::damage_everywhere(std::size_t distance) {
  const std::string store = bytes("token.db");
  for (std::size_t at = 0; at < store.size(); at += distance) {
    SCOPED_TRACE("bit flipped in byte " + std::to_string(at));
    std::string damaged = store;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << at % 8));
    put("token.db", damaged);
    judge();
  }
  constexpr std::size_t kPage = 4096;
  for (std::size_t at = 0; at < store.size(); at += kPage / 4) {
    SCOPED_TRACE("at " + std::to_string(at));
    put("token.db", store.substr(0, at));
    judge();
    put("token.db", std::string(store).replace(at, kPage / 4, kPage / 4, '\0'));
    judge();
    const std::size_t other = (at * 5 + kPage) % store.size() / kPage * kPage;
    put("token.db", std::string(store).replace(at / kPage * kPage, kPage, store, other, kPage));
    judge();
  }
}

TEST_F(DamageTest, AnotherDeviceKeyOpensNothing) {
  std::string key = bytes("device.key");
  for (std::size_t bit = 0; bit < key.size() * 8; bit += 37) {
    std::string other = key;
    other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << bit % 8));
    put("device.key", other);
    const std::string found = learn();
    EXPECT_THAT(found, testing::HasSubstr("user: CKR_DEVICE_ERROR"));
    EXPECT_THAT(found, testing::HasSubstr("officer: CKR_DEVICE_ERROR"));
    EXPECT_FALSE(has(found, "1: 0="));
    EXPECT_FALSE(has(found, "pair of"));
  }
}

TEST_F(DamageTest, FilesThatAreNotTheTokensOwnAreRefused) {
  const auto link = [this](const char* name) {
    fs::rename(file(name), file("moved"));
    fs::create_symlink(file("moved"), file(name));
  };
  const auto give_away = [this](const char* name) {
    return ::chown(file(name).c_str(), 65534, static_cast<gid_t>(-1)) == 0;  // root alone can
  };
  const auto replace_by_folder = [this](const char* name) {
    fs::remove(file(name));
    fs::create_directory(file(name));
  };
  for (const char* const name : {"token.db", "device.key", "pin-tries"}) {
    SCOPED_TRACE(name);
    const auto refused_now = [&] {
      EXPECT_THAT(learn(), testing::HasSubstr("CKR_DEVICE_ERROR"));
      fs::remove_all(file("moved"));
      fs::remove_all(file(name));
      whole->restore();
    };
    link(name);
    refused_now();
    replace_by_folder(name);
    refused_now();
    ::chmod(file(name).c_str(), 0660);
    refused_now();
    if (give_away(name)) refused_now();
    fs::remove(file(name));
    if (std::string(name) != "token.db") refused_now();
    whole->restore();
  }
  const bool is_given_away = give_away(".");
  EXPECT_EQ(learn(), is_given_away ? "CKR_DEVICE_ERROR\n" : sound);
  EXPECT_EQ(::chown(folder().c_str(), ::geteuid(), static_cast<gid_t>(-1)), 0);
  EXPECT_EQ(learn(), sound);
}

TEST_F(DamageTest, AForeignOrMissingJournalNeverGivesAWrongKey) {
  put("token.db-journal", std::string(5000, 'j'));
  EXPECT_EQ(learn(), sound);
  whole->restore();
  m_token->C_Initialize(nullptr);
  open();
  ASSERT_EQ(login(), OK);
  const TokenSnapshot before(folder());
  test_support::watch_system_calls(folder());
  generate(Template().text(CKA_LABEL, std::string(3000, 'l')));
  const std::vector<SystemCall> calls = test_support::stop_watching();
  m_token->C_Finalize(nullptr);
  ASSERT_FALSE(calls.empty());
  known += learn();
  pairs = pairs_in(known);
  for (std::size_t count = 0; count <= calls.size(); ++count) {
    SCOPED_TRACE(count);
    test_support::after_power_cut(before, calls, count, Lost::kNothing).restore();
    fs::remove(file("token.db-journal"));
    judge();
  }
  report("stores without their journal");
}

TEST_F(DamageTest, AReadOnlyMediumGivesWhatIsPublicAndRefusesTheRest) {
  test_support::watch_system_calls(folder(), {Fault::kReadOnly, 1, EROFS});
  const std::string found = learn();
  m_token->C_Initialize(nullptr);
  open();
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), answer(CKR_TOKEN_WRITE_PROTECTED));
  EXPECT_THAT(find(Class(CKO_CERTIFICATE)), testing::SizeIs(2));
  m_token->C_Finalize(nullptr);
  test_support::stop_watching();
  EXPECT_THAT(found, testing::HasSubstr("user: CKR_DEVICE_ERROR\n"));  // a try could not be counted
  EXPECT_EQ(learn(), sound);
}

}  // namespace
}  // namespace token_test
