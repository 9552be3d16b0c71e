// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_test.h"

namespace token_test {
namespace {

using FailureLineTest = TokenTest;

TEST_F(FailureLineTest, IsWrittenAsTheSettingAsksAndHasNoPin) {
  const std::string log = folder() + "/../log", start = "tee-token: ";
  CK_OBJECT_HANDLE fixed = 0;
  ASSERT_EQ(create(data_object("x").text(CKA_LABEL, "a\"\x01").flag(CKA_DESTROYABLE, false), &fixed), OK);
  const std::string wrong_pin = start + "C_Login: CKR_PIN_INCORRECT: " + folder() +
                                ": wrong user PIN, 9 tries left; the library needs the platform's PIN: "
                                "tee-token reset-pin --platform-pin\n";
  const std::string refusal = start + "C_DestroyObject: CKR_ACTION_PROHIBITED: " + folder() +
                              ": data \"a\\x22\\x01\" (object " + std::to_string(fixed) +
                              "): the object is not CKA_DESTROYABLE\n";
  const struct {
    std::string setting, in_file, in_stderr;
  } cases[] = {
      {"file:" + log, wrong_pin, ""},
      {"file:" + log + ",all", wrong_pin + refusal, ""},
      {"off,file:" + log, "", ""},
      {"all", "", wrong_pin + refusal},
      {"file:" + folder(), "",
       wrong_pin + start + "TEE_TOKEN_LOG: cannot write to " + folder() + ": Is a directory\n"},
  };
  for (const auto& each : cases) {
    ::setenv("TEE_TOKEN_LOG", each.setting.c_str(), 1);
    ASSERT_EQ(restart(), OK);
    ::setenv("TEE_TOKEN_LOG", "ignored until the next C_Initialize", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(login(kWrongPin), CKR_PIN_INCORRECT);
    EXPECT_EQ(destroy(fixed), CKR_ACTION_PROHIBITED);
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(logout(), OK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), each.in_stderr) << each.setting;
    EXPECT_EQ(content_of(log), each.in_file) << each.setting;
    std::remove(log.c_str());
  }
}

}  // namespace
}  // namespace token_test
