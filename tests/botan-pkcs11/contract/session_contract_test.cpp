// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "contract_test.h"

namespace {

using SessionTest = TokenTest;
ON_TOKENS(SessionTest, kAllTokens);

TEST_P(SessionTest, ItsStateIsOfItsKindAndOfTheLogin) {
  Session reader(slot, true), writer(slot, flags(Flag::SerialSession | Flag::RwSession), nullptr, nullptr);
  EXPECT_CODE(SessionParallelNotSupported, Session(slot, flags(Flag::RwSession), nullptr, nullptr));
  EXPECT_EQ(reader.get_info().slotID, slot.slot_id());
  EXPECT_EQ(reader.get_info().flags, flags(Flag::SerialSession));
  EXPECT_EQ(writer.get_info().flags, flags(Flag::SerialSession | Flag::RwSession));
  EXPECT_EQ(state_of(writer), CKS_RW_PUBLIC_SESSION);
  reader.login(UserType::User, pin);
  EXPECT_EQ(state_of(reader), CKS_RO_USER_FUNCTIONS);
  EXPECT_EQ(state_of(writer), CKS_RW_USER_FUNCTIONS);
  EXPECT_EQ(state_of(Session(slot, false)), CKS_RW_USER_FUNCTIONS) << "opened after the login";
  reader.logoff();
  EXPECT_EQ(state_of(reader), CKS_RO_PUBLIC_SESSION);
}

TEST_P(SessionTest, OneUserIsLoggedInAtATime) {
  Session one(slot, false), other(slot, false);
  EXPECT_CODE(PinIncorrect, one.login(UserType::User, secret("12345678")));
  EXPECT_CODE(UserTypeInvalid, one.login(static_cast<UserType>(99), pin));
  one.login(UserType::User, pin);
  EXPECT_CODE(UserAlreadyLoggedIn, other.login(UserType::User, pin));
  EXPECT_CODE(UserAnotherAlreadyLoggedIn, other.login(UserType::SO, so_pin));
  one.logoff();
  one.login(UserType::SO, so_pin);
  EXPECT_CODE(UserAlreadyLoggedIn, other.login(UserType::SO, so_pin));
  EXPECT_CODE(UserAnotherAlreadyLoggedIn, other.login(UserType::User, pin));
}

TEST_P(SessionTest, TheOfficerHasReadWriteSessionsOnly) {
  Session writer(slot, false);
  {
    const Session reader(slot, true);
    EXPECT_CODE(SessionReadOnlyExists, writer.login(UserType::SO, so_pin));
  }
  writer.login(UserType::SO, so_pin);
  EXPECT_EQ(state_of(Session(slot, false)), CKS_RW_SO_FUNCTIONS);
  EXPECT_CODE(SessionReadWriteSoExists, Session(slot, true));
}

TEST_P(SessionTest, TheLoginEndsWithTheSessionThatLoggedInOrTookItOver) {
  const Session watching(slot, true);
  SessionHandle handle = 0;
  {
    Session first(slot, false);
    first.login(UserType::User, pin);
    { const Session other(slot, false); }
    EXPECT_EQ(state_of(watching), CKS_RO_USER_FUNCTIONS);
    Session moved(std::move(first));
    handle = moved.release();
    EXPECT_CODE(SessionHandleInvalid, moved.get_info());
  }
  EXPECT_EQ(state_of(watching), CKS_RO_USER_FUNCTIONS);
  EXPECT_EQ(state_of(Session(slot, handle)), CKS_RW_USER_FUNCTIONS);
  EXPECT_EQ(state_of(watching), CKS_RO_PUBLIC_SESSION);
  EXPECT_CODE(SessionHandleInvalid, Session(slot, handle)) << "it was closed";
}

TEST_P(SessionTest, TheLastOneTakesTheLoginWithIt) {
  const auto leave_login_behind = [&] {
    Session session(slot, false);
    session.login(UserType::User, pin);
    return session.release();
  };
  module->C_CloseSession(leave_login_behind());
  EXPECT_EQ(state_of(Session(slot, true)), CKS_RO_PUBLIC_SESSION);

  const Session other(slot, true);
  leave_login_behind();
  module->C_CloseAllSessions(slot.slot_id());
  EXPECT_CODE(SessionHandleInvalid, other.get_info());
  EXPECT_EQ(state_of(Session(slot, true)), CKS_RO_PUBLIC_SESSION);
}

}  // namespace
