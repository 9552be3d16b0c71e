// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "contract_test.h"

namespace {

class PinTest : public TokenTest {
 protected:
  void login(UserType user, const Bytes& tried) { Session(slot, false).login(user, tried); }

  const Bytes other = secret("other PIN");
};

ON_TOKENS(PinTest, kAllTokens);

TEST_P(PinTest, OnlyTheOfficersPinAndNoSessionInitializesATokenAnewAndAllIsGone) {
  DataObjectProperties object;
  object.set_token(true);
  object.set_private(false);
  {
    Session session(slot, false);
    const Object created(session, object);
    EXPECT_CODE(SessionExists, slot.initialize("busy", so_pin));
  }
  EXPECT_CODE(PinIncorrect, slot.initialize("wrong", other));
  const auto objects = [&] {
    Session session(slot, true);
    return ObjectFinder(session, {}).find().size();
  };
  EXPECT_EQ(objects(), 1U);
  const std::string label = "a label of 32 bytes, no blank...";
  slot.initialize(label, so_pin);
  const TokenInfo info = slot.get_token_info();
  EXPECT_EQ(std::string(info.label, info.label + sizeof info.label), label);
  EXPECT_EQ(info.flags & flags(Flag::UserPinInitialized), 0U);
  EXPECT_EQ(objects(), 0U);
  EXPECT_CODE(UserPinNotInitialized, login(UserType::User, pin));
}

TEST_P(PinTest, EachUserChangesHisOwnAndTheOldOneIsNoLongerGood) {
  EXPECT_CODE(PinIncorrect, change_pin(slot, other, pin));
  EXPECT_CODE(PinIncorrect, change_so_pin(slot, pin, other));
  EXPECT_CODE(PinIncorrect, set_pin(slot, other, pin));
  change_pin(slot, pin, other);
  EXPECT_CODE(PinIncorrect, login(UserType::User, pin));
  EXPECT_CODE(OK, login(UserType::User, other));
  EXPECT_CODE(OK, login(UserType::SO, so_pin));
  change_so_pin(slot, so_pin, pin);
  EXPECT_CODE(PinIncorrect, login(UserType::SO, so_pin));
  EXPECT_CODE(OK, login(UserType::SO, pin));
  EXPECT_EQ(state_of(Session(slot, true)), CKS_RO_PUBLIC_SESSION) << "nobody is left logged in";
}

TEST_P(PinTest, ASessionSetsThePinOfWhomItServes) {
  Session session(slot, false);
  EXPECT_CODE(UserNotLoggedIn, session.init_pin(other));
  session.set_pin(pin, other);  // nobody is logged in: the user's
  session.login(UserType::User, other);
  EXPECT_CODE(UserNotLoggedIn, session.init_pin(pin));
  EXPECT_CODE(PinIncorrect, session.set_pin(pin, other));
  EXPECT_CODE(SessionReadOnly, Session(slot, true).set_pin(other, pin));
  session.logoff();
  session.login(UserType::SO, so_pin);
  session.init_pin(pin);
  session.set_pin(so_pin, other);
  session.logoff();
  EXPECT_CODE(OK, login(UserType::User, pin));
  EXPECT_CODE(OK, login(UserType::SO, other));
}

TEST_P(PinTest, LengthsAreThoseThatTheTokenSays) {
  const TokenInfo info = slot.get_token_info();
  for (const Bytes& bad : {Bytes(info.ulMinPinLen - 1, 'b'), Bytes(info.ulMaxPinLen + 1, 'b')}) {
    EXPECT_CODE(PinLenRange, change_pin(slot, pin, bad));
    EXPECT_CODE(PinLenRange, set_pin(slot, so_pin, bad));
    EXPECT_CODE(PinLenRange, change_so_pin(slot, so_pin, bad));
  }
  const Bytes longest(info.ulMaxPinLen, 'l');
  change_pin(slot, pin, Bytes(info.ulMinPinLen, 's'));
  change_so_pin(slot, so_pin, longest);
  set_pin(slot, longest, longest);
  EXPECT_CODE(OK, login(UserType::User, longest));
}

}  // namespace
