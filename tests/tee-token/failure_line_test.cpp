// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "token_test.h"

namespace token_test {
namespace {

class FailureLineTest : public TokenTest {
 protected:
  ~FailureLineTest() override { ::setenv("TEE_TOKEN_LOG", "off", 1); }

  /// Lines in the file after a wrong PIN (a failure) and an attempt to destroy a fixed object (normal use).
  std::string lines_with(const std::string& setting) {
    std::filesystem::remove(m_log);
    ::setenv("TEE_TOKEN_LOG", setting.c_str(), 1);
    EXPECT_EQ(login({'s', 'e', 'c', 'r', 'e', 't'}), answer(CKR_PIN_INCORRECT));
    EXPECT_EQ(destroy(m_fixed), answer(CKR_ACTION_PROHIBITED));
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
    std::ifstream file(m_log);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  void SetUp() override {
    ASSERT_EQ(create(Class(CKO_DATA).text(CKA_LABEL, "a\"\x01").flag(CKA_DESTROYABLE, false), &m_fixed), OK);
    m_object = "tee-token: C_DestroyObject: CKR_ACTION_PROHIBITED: " + folder() +
               ": data \"a\\x22\\x01\" (object " + std::to_string(m_fixed) +
               "): the object is not CKA_DESTROYABLE\n";
  }

  const std::string m_log = folder() + "/../log";
  const std::string m_pin = "tee-token: C_Login: CKR_PIN_INCORRECT: " + folder() +
                            ": this is not the PIN of the user; tries left: 9\n";
  std::string m_object;
  CK_OBJECT_HANDLE m_fixed = 0;
};

TEST_F(FailureLineTest, SaysWhatWasAskedForWhereItWasAskedFor) {
  EXPECT_EQ(lines_with("file:" + m_log), m_pin);
  EXPECT_EQ(lines_with("failures,file:" + m_log), m_pin);
  EXPECT_EQ(lines_with("file:" + m_log + ",all"), m_pin + m_object);
  EXPECT_EQ(lines_with("off,file:" + m_log), "");
  EXPECT_EQ(std::filesystem::exists(m_log), false);

  testing::internal::CaptureStderr();
  EXPECT_EQ(lines_with("all,file:" + m_log + ",stderr"), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), m_pin + m_object);
}

TEST_F(FailureLineTest, TellsOnStderrWhatItCannotDo) {
  testing::internal::CaptureStderr();
  lines_with("fiel:" + m_log);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tee-token: TEE_TOKEN_LOG: \"fiel:" + m_log +
                "\" is none of failures, all, off, stderr and file:/PATH\n" + m_pin);
  testing::internal::CaptureStderr();
  lines_with("file:log");  // the folder that it would be in changes with the program's
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::StartsWith("tee-token: TEE_TOKEN_LOG: \"file:log\" is none of "));
  testing::internal::CaptureStderr();
  lines_with("file:" + folder());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            m_pin + "tee-token: TEE_TOKEN_LOG: cannot write to " + folder() + ": Is a directory\n");
}

// The lock that calls hold is not held while a line is written.
TEST_F(FailureLineTest, WhoDoesNotReadThemStopsNoOtherThread) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const std::vector<char> full(static_cast<std::size_t>(::fcntl(ends[1], F_GETPIPE_SZ)));
  ASSERT_EQ(::write(ends[1], full.data(), full.size()), static_cast<ssize_t>(full.size()));
  ::setenv("TEE_TOKEN_LOG", "failures", 1);
  const int real_stderr = ::dup(STDERR_FILENO);
  ASSERT_EQ(::dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
  auto stalled = std::async(std::launch::async, [this] { return login({'s', 'e', 'c', 'r', 'e', 't'}); });
  EXPECT_EQ(stalled.wait_for(std::chrono::milliseconds(500)), std::future_status::timeout);
  auto other = std::async(std::launch::async, [this] { return find(); });
  EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);

  std::string lines(full.size() + m_pin.size(), ' ');
  for (std::size_t count = 0; count < lines.size();) {
    const ssize_t read = ::read(ends[0], lines.data() + count, lines.size() - count);
    ASSERT_GT(read, 0);
    count += static_cast<std::size_t>(read);
  }
  EXPECT_EQ(lines.substr(full.size()), m_pin);
  EXPECT_EQ(stalled.get(), answer(CKR_PIN_INCORRECT));
  ::dup2(real_stderr, STDERR_FILENO);
  ::close(real_stderr);
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace token_test
