// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "token_test.h"

namespace token_test {
namespace {

using PinTest = TokenTest;

const Value kWrong = {'w', 'r', 'o', 'n', 'g'};

TEST_F(PinTest, EveryByteOfThePinCountsTheLastZeroToo) {
  EXPECT_EQ(login(Value(kPin.begin(), kPin.end() - 1)), answer(CKR_PIN_INCORRECT));
  EXPECT_EQ(login(kOfficerPin), answer(CKR_PIN_INCORRECT));
  EXPECT_EQ(login(), OK);
  EXPECT_EQ(login(), answer(CKR_USER_ALREADY_LOGGED_IN));
  EXPECT_EQ(login(kOfficerPin, CKU_SO), answer(CKR_USER_ANOTHER_ALREADY_LOGGED_IN));
}

TEST_F(PinTest, TenWrongTriesLockThePinAcrossRestartsUntilTheOfficerSetsAnother) {
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(login(kWrong), answer(CKR_PIN_INCORRECT));
    restart();
  }
  EXPECT_EQ(login(kWrong), answer(CKR_PIN_INCORRECT));
  EXPECT_EQ(login(), answer(CKR_PIN_LOCKED));
  restart();
  EXPECT_EQ(login(), answer(CKR_PIN_LOCKED));

  ASSERT_EQ(login(kOfficerPin, CKU_SO), OK);
  EXPECT_EQ(init_pin(kPin), OK);
  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_EQ(login(), OK);
}

TEST_F(PinTest, TheTokensFlagsTellHowManyTriesAreLeft) {
  const struct {
    CK_USER_TYPE user;
    CK_FLAGS low, final_try, locked;
  } cases[] = {{CKU_USER, CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_LOCKED},
               {CKU_SO, CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_LOCKED}};
  for (const auto& each : cases) {
    const CK_FLAGS all = each.low | each.final_try | each.locked;
    for (int wrong = 0; wrong <= 10; ++wrong) {
      CK_TOKEN_INFO info;
      ASSERT_EQ(answer(m_token->C_GetTokenInfo(0, &info)), OK);
      EXPECT_EQ(info.flags & all, wrong == 0    ? 0
                                  : wrong == 10 ? each.locked
                                  : wrong == 9  ? each.low | each.final_try
                                                : each.low);
      EXPECT_EQ(login(kWrong, each.user), answer(wrong == 10 ? CKR_PIN_LOCKED : CKR_PIN_INCORRECT));
    }
  }
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  EXPECT_EQ(init_token(kOfficerPin), answer(CKR_PIN_LOCKED));
}

TEST_F(PinTest, TheCountSurvivesAKillAtAnyPoint) {
  m_token->C_Finalize(nullptr);
  std::string answers;
  for (unsigned round = 0; answers.find('L') == std::string::npos; ++round) {
    int told[2];
    ASSERT_EQ(::pipe(told), 0);
    const pid_t child = ::fork();
    if (child == 0) {
      m_token->C_Initialize(nullptr);
      open();
      const auto tell = [&](const char* what) { return ::write(told[1], what, 1) == 1; };
      for (Answer found = answer(CKR_PIN_INCORRECT); found == answer(CKR_PIN_INCORRECT);) {
        tell("t");
        found = login(kWrong);
        tell(found == answer(CKR_PIN_INCORRECT) ? "w" : found == answer(CKR_PIN_LOCKED) ? "L" : "?");
      }
      ::_exit(0);
    }
    ::close(told[1]);
    char byte = 0;
    ASSERT_EQ(::read(told[0], &byte, 1), 1) << "a try has begun";
    ::usleep(round * 197 % (5000 + 50 * round));  // a slow machine needs more for a try
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    while (::read(told[0], &byte, 1) == 1) {
      answers += byte;
    }
    ::close(told[0]);
    ASSERT_LT(round, 1000u) << answers;
  }
  EXPECT_LE(std::count(answers.begin(), answers.end(), 'w'), 10) << answers;
  EXPECT_EQ(answers.find('?'), std::string::npos);
  m_token->C_Initialize(nullptr);
}

TEST_F(PinTest, OnlyAPinThatIsJudgedCountsAsATry) {
  ASSERT_EQ(::chmod(file("device.key").c_str(), 0640), 0);
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(login(), answer(CKR_DEVICE_ERROR));
  }
  ASSERT_EQ(::chmod(file("device.key").c_str(), 0600), 0);
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(login({}), answer(CKR_PIN_INCORRECT));
  }
  EXPECT_EQ(login(), OK);
}

TEST_F(PinTest, ARightPinTakesBackTheCount) {
  for (int i = 0; i < 25; ++i) {
    EXPECT_EQ(login(kWrong), answer(CKR_PIN_INCORRECT));
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(answer(m_token->C_Logout(m_session)), OK);
  }
}

TEST_F(PinTest, ANewPinOpensTheOldKeys) {
  ASSERT_EQ(login(), OK);
  const Handles keys = generate();
  Value fresh(64, 0);
  fresh[1] = 7;
  const auto set_pin = [&](Value from, Value to) {
    return answer(m_token->C_SetPIN(m_session, from.data(), from.size(), to.data(), to.size()));
  };
  EXPECT_EQ(set_pin(kPin, Value(65, 7)), answer(CKR_PIN_LEN_RANGE));
  EXPECT_EQ(set_pin(kPin, Value(3, 7)), answer(CKR_PIN_LEN_RANGE));
  EXPECT_EQ(set_pin(kWrong, fresh), answer(CKR_PIN_INCORRECT));
  EXPECT_EQ(set_pin(kPin, fresh), OK);
  restart();
  EXPECT_EQ(login(), answer(CKR_PIN_INCORRECT));
  EXPECT_EQ(login(fresh), OK);
  Value signature;
  EXPECT_EQ(sign(keys[1], CKM_ECDSA_SHA256, {1}, signature), OK);
}

TEST_F(PinTest, OnlyTheOfficersPinInitialisesATokenAnewAndThenAllIsGone) {
  ASSERT_EQ(login(), OK);
  generate();
  EXPECT_EQ(init_token(kOfficerPin), answer(CKR_SESSION_EXISTS));
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  EXPECT_EQ(init_token(kWrong), answer(CKR_PIN_INCORRECT));
  open();
  ASSERT_EQ(login(), OK);
  EXPECT_EQ(find().size(), 2u);
  ASSERT_EQ(answer(m_token->C_CloseAllSessions(0)), OK);
  EXPECT_EQ(init_token(kOfficerPin), OK);
  open();
  EXPECT_EQ(find().size(), 0u);
  EXPECT_EQ(login(), answer(CKR_USER_PIN_NOT_INITIALIZED));
}

TEST_F(PinTest, TheOfficerNeedsReadWriteSessionsAndTheUserLogsOutWithTheLast) {
  const CK_SESSION_HANDLE writer = m_session;
  open(CKF_SERIAL_SESSION);
  EXPECT_EQ(login(kOfficerPin, CKU_SO), answer(CKR_SESSION_READ_ONLY_EXISTS));
  ASSERT_EQ(login(), OK);
  CK_SESSION_INFO info;
  ASSERT_EQ(answer(m_token->C_GetSessionInfo(writer, &info)), OK);
  EXPECT_EQ(info.state, CKS_RW_USER_FUNCTIONS);
  ASSERT_EQ(answer(m_token->C_CloseSession(writer)), OK);
  ASSERT_EQ(answer(m_token->C_CloseSession(m_session)), OK);
  EXPECT_EQ(answer(m_token->C_CloseSession(m_session)), answer(CKR_SESSION_HANDLE_INVALID));
  open();
  ASSERT_EQ(answer(m_token->C_GetSessionInfo(m_session, &info)), OK);
  EXPECT_EQ(info.state, CKS_RW_PUBLIC_SESSION);
}

}  // namespace
}  // namespace token_test
