#include <stdlib.h>
#include <syslog.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "token_test.h"

namespace {
std::string g_syslog;
}

// In the place of the C library's, for the module too.
__attribute__((visibility("default"))) void syslog(int, const char* format, ...) {
  char* line = nullptr;
  va_list values;
  va_start(values, format);
  if (::vasprintf(&line, format, values) >= 0) {
    g_syslog += line;
    ::free(line);
  }
  va_end(values);
}

namespace token_test {
namespace {

class FailureLineTest : public TokenTest {
 protected:
  FailureLineTest() { g_syslog.clear(); }
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
  EXPECT_EQ(lines_with("all,stderr,syslog,file:" + m_log), m_pin + m_object);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), m_pin + m_object);
  EXPECT_EQ(g_syslog, m_pin + m_object);
}

TEST_F(FailureLineTest, TellsOnStderrWhatItCannotDo) {
  testing::internal::CaptureStderr();
  lines_with("fiel:" + m_log);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tee-token: TEE_TOKEN_LOG: \"fiel:" + m_log +
                "\" is none of failures, all, off, stderr, syslog and file:PATH\n" + m_pin);
  testing::internal::CaptureStderr();
  lines_with("file:" + folder());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            m_pin + "tee-token: TEE_TOKEN_LOG: cannot write to " + folder() + ": Is a directory\n");
}

}  // namespace
}  // namespace token_test
