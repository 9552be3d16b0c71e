// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>

#include "token_test.h"

namespace token_test {
namespace {

using PinTest = TokenTest;

TEST_F(PinTest, TenWrongTriesLockThePinOfEachAcrossRestarts) {
  for (const CK_USER_TYPE user : {CKU_USER, CKU_SO}) {
    const Value right = user == CKU_SO ? kOfficerPin : kPin;
    ASSERT_EQ(login(kWrongPin, user), CKR_PIN_INCORRECT);
    ASSERT_EQ(login(right, user), OK) << "and takes back the count";
    ASSERT_EQ(logout(), OK);
    for (int wrong = 0; wrong < 10; ++wrong) {
      EXPECT_EQ(content_of(file("pin-tries"))[user == CKU_SO ? 1 : 0], wrong);
      EXPECT_EQ(login(kWrongPin, user), CKR_PIN_INCORRECT);
      ASSERT_EQ(restart(), OK);
    }
    EXPECT_EQ(login(right, user), CKR_PIN_LOCKED);
  }
  CK_TOKEN_INFO info;
  ASSERT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), OK);
  EXPECT_EQ(info.flags & (CKF_USER_PIN_LOCKED | CKF_SO_PIN_LOCKED), CKF_USER_PIN_LOCKED | CKF_SO_PIN_LOCKED);
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  EXPECT_EQ(init_token(), CKR_PIN_LOCKED);
}

TEST_F(PinTest, OnlyAPinThatIsCheckedCountsAndTheOfficerUnlocksIt) {
  ASSERT_EQ(::chmod(file("device.key").c_str(), 0640), 0);
  for (int i = 0; i < 11; ++i) EXPECT_EQ(login(), CKR_DEVICE_ERROR);
  ASSERT_EQ(::chmod(file("device.key").c_str(), 0600), 0);
  for (int i = 0; i < 11; ++i) EXPECT_EQ(login({}), CKR_PIN_INCORRECT);
  EXPECT_EQ(login(Value(kPin.begin(), kPin.end() - 1)), CKR_PIN_INCORRECT) << "the last zero is part of it";
  for (int i = 0; i < 9; ++i) EXPECT_EQ(login(kWrongPin), CKR_PIN_INCORRECT);
  ASSERT_EQ(login_officer(), OK);
  EXPECT_EQ(init_pin(kPin), OK) << "which unlocks it";
  ASSERT_EQ(logout(), OK);
  EXPECT_EQ(login(), OK);
}

}  // namespace
}  // namespace token_test
