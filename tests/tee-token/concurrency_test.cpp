// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>

#include "token_test.h"

namespace token_test {
namespace {

class ConcurrencyTest : public TokenTest {
 protected:
  /// Has a process that starts now do some work; `result_of` returns its answer.
  pid_t start(const std::function<Answer()>& work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    m_token->C_Initialize(nullptr);
    const CK_RV code = work().code;
    ::_exit(static_cast<int>(code > 255 ? 255 : code));
  }
  static Answer result_of(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return static_cast<CK_RV>(WEXITSTATUS(status));
  }

  Handles new_parts() {
    Handles parts = generate(marks());
    parts.push_back(store_chain({}));
    return parts;
  }

  /// Objects that are made in one change have numbers in a row.
  static bool is_one_set(const Handles& found) {
    return found.size() == 3 && found[1] == found[0] + 1 && found[2] == found[0] + 2;
  }
};

TEST_F(ConcurrencyTest, OfTwoRotationsAtOnceOneWinsAndTheOtherFails) {
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(install({}, new_parts()), OK);
  for (int round = 0; round < 10; ++round) {
    const Handles seen = installed(), one = new_parts(), two = new_parts();
    const pid_t first =
        start([&] { return open() == OK && login() == OK ? install(seen, one) : CKR_GENERAL_ERROR; });
    const Answer second = install(seen, two);
    EXPECT_EQ(result_of(first), second == OK ? CKR_OBJECT_HANDLE_INVALID : CKR_OK);
    EXPECT_TRUE(second == OK || second == CKR_OBJECT_HANDLE_INVALID);
    EXPECT_TRUE(is_one_set(installed()));
  }
}

TEST_F(ConcurrencyTest, AReaderSeesTheOldSetOrTheNewOneInEachCall) {
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(install({}, new_parts()), OK);
  const pid_t reader = start([&]() -> Answer {
    Handles last;
    open();
    login();
    for (int sets = 0; sets < 10;) {
      const Handles found = installed();
      if (!is_one_set(found)) return CKR_GENERAL_ERROR;
      sets += found != last ? 1 : 0;
      last = found;
    }
    return CKR_OK;
  });
  int status = -1;
  while (::waitpid(reader, &status, WNOHANG) == 0) ASSERT_EQ(install(installed(), new_parts()), OK);
  EXPECT_EQ(status, 0);
}

// All with the same PIN.
TEST_F(ConcurrencyTest, OneTokenComesOutOfSeveralInitialisationsAtOnce) {
  for (int round = 0; round < 10; ++round) {
    m_token->C_Finalize(nullptr);
    std::filesystem::remove_all(folder());
    std::vector<pid_t> children(3);
    for (pid_t& child : children) child = start([&] { return init_token(); });
    for (const pid_t child : children) EXPECT_EQ(result_of(child), OK);
    ASSERT_EQ(restart(), OK);
    EXPECT_EQ(login(kOfficerPin, CKU_SO), OK);
  }
}

TEST_F(ConcurrencyTest, AWaitForAnotherProcessEndsAfterFiveSecondsWithTheReason) {
  const std::string log = folder() + "/../log";
  ::setenv("TEE_TOKEN_LOG", ("file:" + log).c_str(), 1);
  const int counters = ::open(file("pin-tries").c_str(), O_RDWR | O_CLOEXEC);
  struct flock whole {};
  whole.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(counters, F_OFD_SETLK, &whole), 0);
  sqlite3* store = nullptr;
  ASSERT_EQ(sqlite3_open(file("token.db").c_str(), &store), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(store, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  const auto begin = std::chrono::steady_clock::now();
  const pid_t other =
      start([&] { return open() == OK && login() == CKR_DEVICE_ERROR ? OK : CKR_GENERAL_ERROR; });
  EXPECT_EQ(create(data_object("")), CKR_DEVICE_ERROR);
  EXPECT_EQ(result_of(other), OK);
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_TRUE(waited > std::chrono::seconds(4) && waited < std::chrono::seconds(15));
  sqlite3_close(store);
  ::close(counters);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  EXPECT_THAT(content_of(log), testing::HasSubstr("another process has held the store for more than 5 s"));
  EXPECT_EQ(create(data_object("")), OK);
}

}  // namespace
}  // namespace token_test
