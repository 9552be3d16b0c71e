#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
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

const Value kStoredOfficerPin = {'s', 'o', '-', 'p', 'i', 'n'};

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

/// The token of tests/data, which version 1 of the store holds: a base key, an installed identity, a
/// temporary key pair, a group with one root, a data object.
class DamageTest : public TokenTest {
 protected:
  DamageTest() : stored(CCI_PROJECT_FOLDER "/tests/data/token-v1") {
    m_token->C_Finalize(nullptr);
    TokenSnapshot::Entries entries;
    for (const auto& [path, content] : stored.entries()) {
      entries[folder() + "/" + fs::path(path).filename().string()] = content;
    }
    whole.emplace(folder(), entries);
    whole->restore();
    sound = learn();
    pairs = pairs_in(sound);
  }

  std::string learn() { return token_text(*m_token, {kPin}, {kStoredOfficerPin}, 1000); }
  std::string bytes(const char* name) const { return *whole->entries().at(file(name)); }

  void put(const char* name, const std::string& content) {
    auto entries = whole->entries();
    entries[file(name)] = content;
    TokenSnapshot(folder(), entries).restore();
  }

  /// What is there opens as it was, or is refused; no key signs for a public key that is not its own. A
  /// change that is tried is made or refused.
  void judge() {
    const std::string found = learn();
    for (const std::string& pair : pairs_in(found)) EXPECT_THAT(pairs, testing::Contains(pair));
    ++(found == sound ? unchanged : has(found, "CKR_") || has(found, "none yet") ? refused : altered);
    change();
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
              << " without effect, " << refused << " refused, " << altered << " changed what is not sealed\n";
  }

  TokenSnapshot stored;
  std::optional<TokenSnapshot> whole;
  std::string sound;
  std::vector<std::string> pairs;
  unsigned unchanged = 0, refused = 0, altered = 0;
};

TEST_F(DamageTest, AStoreOfVersionOneOpens) {
  EXPECT_THAT(sound, testing::HasSubstr("user: PIN 0\n"));
  EXPECT_THAT(sound, testing::HasSubstr("officer: PIN 0\n"));
  EXPECT_THAT(pairs_in(sound), testing::ElementsAre("7 6", "11 10"));
  EXPECT_THAT(sound, testing::HasSubstr("1: 0=0300000000000000"));  // the base key
  EXPECT_THAT(sound, testing::HasSubstr(" 86=01"));                 // the root is trusted
  EXPECT_THAT(sound, testing::HasSubstr(" 11=76656869636c65"));     // "vehicle"
  EXPECT_FALSE(has(sound, "CKR_")) << sound;
}

TEST_F(DamageTest, ABackupOfVersionOneIsRestored) {
  fs::remove(file("token.db"));
  EXPECT_EQ(admin("restore '" CCI_PROJECT_FOLDER "/tests/data/token-v1/token.db'").code, 0);
  EXPECT_EQ(learn(), sound);
}

TEST_F(DamageTest, ADamagedStoreNeverGivesAWrongKeyAndNeverFaults) {
  const std::string store = bytes("token.db");
#ifdef CCI_SANITIZED
  const std::size_t distance = 601;
#else
  const std::size_t distance = test_support::isLongRun() ? 1 : 101;
#endif
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
  report("damaged stores");
}

TEST_F(DamageTest, AnotherDeviceKeyOpensNothing) {
  std::string key = bytes("device.key");
  for (std::size_t bit = 0; bit < key.size() * 8; bit += 37) {
    std::string other = key;
    other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << bit % 8));
    put("device.key", other);
    const std::string found = learn();
    EXPECT_THAT(found, testing::HasSubstr("user: CKR_PIN_INCORRECT"));
    EXPECT_THAT(found, testing::HasSubstr("officer: CKR_PIN_INCORRECT"));
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
  pairs = pairs_in(learn());
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
