#include "fake_token_test.h"

namespace {

using SessionTest = FakeTokenTest;

TEST_F(SessionTest, OpensWithTheFlagsOfItsConstructor) {
  { Session(slot, true); }
  { Session(slot, flags(Flag::RwSession), nullptr, nullptr); }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 4", "C_CloseSession 7",  //
                                            "C_OpenSession 5 2", "C_CloseSession 7"));
}

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

TEST_F(SessionTest, ReleasedOrMovedLeavesTheSessionToTheOther) {
  {
    Session from(slot, false);
    from.login(UserType::User, secret("1"));
    Session to(std::move(from));
    EXPECT_EQ(from.release(), 0U);
    EXPECT_EQ(to.release(), 7U);
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 6", "C_Login 7 1 1"));
  {
    Session from(slot, false);
    from.login(UserType::User, secret("1"));
    const Session to(std::move(from));
    spy.take_texts();
  }
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_Logout 7", "C_CloseSession 7"));
}

TEST_F(SessionTest, TokenManagementLogsInAndLeavesNothingOpen) {
  initialize_token(slot, "token", secret("so"), secret("user"));
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_InitToken 5 2", "C_OpenSession 5 6", "C_Login 7 0 2",
                                            "C_InitPIN 7 4", "C_Logout 7", "C_CloseSession 7"));
  change_pin(slot, secret("old"), secret("new!"));
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 6", "C_Login 7 1 3", "C_SetPIN 7 3 4",
                                            "C_Logout 7", "C_CloseSession 7"));
  spy.answer("C_SetPIN", CKR_PIN_LEN_RANGE);
  EXPECT_EQ(error_of([&] { change_so_pin(slot, secret("old"), {}); }), ReturnValue::PinLenRange);
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_OpenSession 5 6", "C_Login 7 0 3", "C_SetPIN 7 3 0",
                                            "C_Logout 7", "C_CloseSession 7"));
}

}  // namespace
