// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "base/files.h"
#include "store/sqlite.h"
#include "token_test.h"

namespace token_test {
namespace {

class ConcurrencyTest : public TokenTest {
 protected:
  /// Has a process that starts now do some work; `result_of` says whether it was as it should be.
  pid_t start(const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    m_token->C_Initialize(nullptr);
    ::_exit(work() ? 0 : 1);
  }
  static bool result_of(pid_t child) {
    int status = -1;
    ::waitpid(child, &status, 0);
    return status == 0;
  }

  Handles new_parts() {
    const Handles pair = generate(marks());
    return {pair[0], pair[1], store_chain({})};
  }
  /// Replaces the installed set again and again; false when it is not one set, the old or the new.
  bool rotate() {
    for (int round = 0; round < 20; ++round) {
      const Handles found = installed();
      const bool is_one_set = found.size() == 3 && found[2] == found[0] + 2;  // made in one change
      const Answer done = install(found, new_parts());
      if (!is_one_set || (done != OK && done != CKR_OBJECT_HANDLE_INVALID)) return false;
    }
    return true;
  }
};

TEST_F(ConcurrencyTest, TwoProcessesThatRotateEachSeeAndLeaveOneSet) {
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(install({}, new_parts()), OK);
  const pid_t other = start([this] { return open() == OK && login() == OK && rotate(); });
  EXPECT_TRUE(rotate());
  EXPECT_TRUE(result_of(other));
  EXPECT_THAT(installed(), testing::SizeIs(3));
}

TEST_F(ConcurrencyTest, OneTokenComesOutOfSeveralInitialisationsAtOnce) {
  for (int round = 0; round < 10; ++round) {
    m_token->C_Finalize(nullptr);
    std::filesystem::remove_all(folder());
    std::vector<pid_t> children(3);
    for (pid_t& child : children) child = start([this] { return init_token() == OK; });
    for (const pid_t child : children) EXPECT_TRUE(result_of(child));
    EXPECT_TRUE(restart() == OK && login_officer() == OK);
  }
}

TEST_F(ConcurrencyTest, AWaitForAnotherProcessEnds) {
  {
    tee_token::Database store(file("token.db"));
    const tee_token::Change change(store);
    const tee_token::FileDescriptor counters(::open(file("pin-tries").c_str(), O_RDWR));
    ASSERT_EQ(::lockf(counters.get(), F_LOCK, 0), 0);
    const pid_t other = start([this] { return open() == OK && login() == CKR_DEVICE_ERROR; });
    EXPECT_EQ(create(data_object("")), CKR_DEVICE_ERROR);
    EXPECT_TRUE(result_of(other));
  }
  EXPECT_EQ(create(data_object("")), OK);
  const tee_token::FileDescriptor counters(::open(file("pin-tries").c_str(), O_RDWR));
  ASSERT_EQ(::lockf(counters.get(), F_LOCK, 0), 0);
  const pid_t other = start([this] { return open() == OK && login() == OK; });
  ::usleep(200'000);
  ASSERT_EQ(::lockf(counters.get(), F_ULOCK, 0), 0);
  EXPECT_TRUE(result_of(other)) << "it has waited";
}

}  // namespace
}  // namespace token_test
