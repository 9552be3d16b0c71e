// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>

#include "token_test.h"

namespace token_test {
namespace {

class FailureLineTest : public TokenTest {
 protected:
  FailureLineTest() {
    const Template object = Class(CKO_DATA).text(CKA_LABEL, "a\"\x01");
    EXPECT_EQ(create(Template(object).flag(CKA_DESTROYABLE, false), &m_fixed), OK);
    m_object = "tee-token: C_DestroyObject: CKR_ACTION_PROHIBITED: " + folder() +
               ": data \"a\\x22\\x01\" (object " + std::to_string(m_fixed) +
               "): the object is not CKA_DESTROYABLE\n";
  }
  ~FailureLineTest() override { ::setenv("TEE_TOKEN_LOG", "off", 1); }

  /// What is written to the log file after a wrong PIN, a failure, and an attempt to destroy a fixed object,
  /// normal use; what is written to stderr goes into `m_stderr`.
  std::string lines_with(const std::string& setting) {
    std::filesystem::remove(m_log);
    ::setenv("TEE_TOKEN_LOG", setting.c_str(), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(login({'s', 'e', 'c', 'r', 'e', 't'}), CKR_PIN_INCORRECT);
    EXPECT_EQ(destroy(m_fixed), CKR_ACTION_PROHIBITED);
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(logout(), OK);
    m_stderr = testing::internal::GetCapturedStderr();
    return content_of(m_log);
  }

  const std::string m_log = folder() + "/../log";
  const std::string m_pin = "tee-token: C_Login: CKR_PIN_INCORRECT: " + folder() +
                            ": this is not the PIN of the user; tries left: 9\n";
  std::string m_object, m_stderr;
  CK_OBJECT_HANDLE m_fixed = 0;
};

TEST_F(FailureLineTest, IsWrittenAsTheSettingAsks) {
  EXPECT_EQ(lines_with("file:" + m_log), m_pin);
  EXPECT_EQ(lines_with("file:" + m_log + ",all"), m_pin + m_object);
  EXPECT_EQ(m_stderr, "");
  EXPECT_EQ(lines_with("off,file:" + m_log), "");
  EXPECT_EQ(lines_with("all") + m_stderr, m_pin + m_object);
  EXPECT_EQ(lines_with("file:" + folder()) + m_stderr,
            m_pin + "tee-token: TEE_TOKEN_LOG: cannot write to " + folder() + ": Is a directory\n");
  lines_with("file:log");  // no absolute path
  EXPECT_THAT(m_stderr, testing::StartsWith("tee-token: TEE_TOKEN_LOG: \"file:log\" is none of "));
  EXPECT_THAT(m_stderr, testing::EndsWith(m_pin));
}

// The lock that calls hold is not held while a line is written.
TEST_F(FailureLineTest, StopsNoOtherThreadWhenNobodyReadsIt) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const std::vector<char> full(static_cast<std::size_t>(::fcntl(ends[1], F_GETPIPE_SZ)));
  ASSERT_EQ(::write(ends[1], full.data(), full.size()), static_cast<ssize_t>(full.size()));
  ::setenv("TEE_TOKEN_LOG", "failures", 1);
  const int original = ::dup(STDERR_FILENO);
  ::dup2(ends[1], STDERR_FILENO);
  auto stalled = std::async(std::launch::async, [this] { return login(kWrongPin); });
  for (int i = 0, after_the_try = 0; i < 100'000 && after_the_try < 100; ++i) {
    find();
    after_the_try += content_of(file("pin-tries"))[0];
  }
  EXPECT_EQ(stalled.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  std::vector<char> read(full.size());
  EXPECT_EQ(::read(ends[0], read.data(), read.size()), static_cast<ssize_t>(full.size()));
  EXPECT_EQ(stalled.get(), CKR_PIN_INCORRECT);
  ::dup2(original, STDERR_FILENO);
  for (const int file : {ends[0], ends[1], original}) ::close(file);
}

}  // namespace
}  // namespace token_test
