// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "fake_token_test.h"

namespace {

using SessionTest = FakeTokenTest;

TEST_F(SessionTest, EndsItsOwnLoginUnlessThereIsNoneAndCloses) {
  spy.answer("C_Logout", CKR_DEVICE_ERROR);
  spy.answer("C_CloseSession", CKR_DEVICE_ERROR);
  {
    Session user(slot, false);
    user.login(UserType::User, secret("1234"));
    EXPECT_EQ(error_of([&] { user.logoff(); }), ReturnValue::DeviceError);
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 6", "C_Login 7 1 4", "C_Logout 7", "C_Logout 7",
                                            "C_CloseSession 7"));
  spy.answer("C_Login", CKR_PIN_INCORRECT);
  {
    Session nobody(slot, false);
    EXPECT_EQ(error_of([&] { nobody.login(UserType::SO, {}); }), ReturnValue::PinIncorrect);
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 6", "C_Login 7 0 0", "C_CloseSession 7"));
}

TEST_F(SessionTest, TakesOverASessionWithItsLogin) {
  for (const CK_STATE state : {CKS_RO_PUBLIC_SESSION, CKS_RW_PUBLIC_SESSION}) {
    token.state = state;
    { Session(slot, SessionHandle{8}); }
    EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetSessionInfo 8", "C_CloseSession 8"));
  }
  token.state = CKS_RW_SO_FUNCTIONS;
  { Session(slot, SessionHandle{8}); }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetSessionInfo 8", "C_Logout 8", "C_CloseSession 8"));
  spy.answer("C_GetSessionInfo", CKR_SESSION_HANDLE_INVALID);
  EXPECT_EQ(error_of([&] { Session(slot, SessionHandle{8}); }), ReturnValue::SessionHandleInvalid);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetSessionInfo 8"));
}

}  // namespace
