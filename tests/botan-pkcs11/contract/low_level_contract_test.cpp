// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "contract_test.h"

namespace {

using LowLevelTest = UserTest;
ON_TOKENS(LowLevelTest, kAllTokens);

TEST_P(LowLevelTest, ErrorsOfTheTokenAreReportedAsTheLastArgumentSays) {
  const SessionHandle open = session.handle(), closed = Session(slot, true).handle(), none = 0x7FFFFFFF;
  Ulong number = 0;
  Byte byte = 0;
  const auto p = module.operator->();
  const std::pair<ReturnValue, std::function<bool(ReturnValue*)>> cases[] = {
      {ReturnValue::SlotIdInvalid, [&](auto* rv) { return p->C_CloseAllSessions(none, rv); }},
      {ReturnValue::SessionHandleInvalid, [&](auto* rv) { return p->C_CloseSession(closed, rv); }},
      {ReturnValue::UserAlreadyLoggedIn, [&](auto* rv) { return p->C_Login(open, UserType::User, pin, rv); }},
      {ReturnValue::ObjectHandleInvalid, [&](auto* rv) { return p->C_DestroyObject(open, none, rv); }},
      {ReturnValue::OperationNotInitialized, [&](auto* rv) { return p->C_FindObjectsFinal(open, rv); }},
      {ReturnValue::OperationNotInitialized,
       [&](auto* rv) { return p->C_Sign(open, &byte, 1, &byte, &number, rv); }},
      {ReturnValue::CryptokiAlreadyInitialized, [&](auto* rv) { return p->C_Initialize(nullptr, rv); }},
  };
  ReturnValue code = ReturnValue::OK;
  for (const auto& each : cases) {
    EXPECT_EQ(error_of([&] { each.second(ThrowException); }), each.first);
    EXPECT_FALSE(each.second(nullptr));
    EXPECT_FALSE(each.second(&code));
    EXPECT_EQ(code, each.first);
  }
  EXPECT_TRUE(p->C_Logout(open, &code));
  EXPECT_EQ(code, ReturnValue::OK);
  EXPECT_TRUE(p->C_Login(open, UserType::User, pin, nullptr));
}

TEST_P(LowLevelTest, MapsReadAndWriteManyAttributesAtOnce) {
  using Type = AttributeType;
  const auto key = generate().first;
  std::map<Type, Bytes> values = {{Type::Label, secret("label")}, {Type::Id, secret("id")}};
  module->C_SetAttributeValue(session.handle(), key.handle(), values);
  values = {{Type::Verify, {}}, {Type::Label, secret("x")}, {Type::Subject, secret("y")}, {Type::Id, {}}};
  module->C_GetAttributeValue(session.handle(), key.handle(), values);
  EXPECT_THAT(
      values,
      ElementsAre(std::make_pair(Type::Label, secret("label")), std::make_pair(Type::Subject, Bytes()),
                  std::make_pair(Type::Id, secret("id")), std::make_pair(Type::Verify, Bytes{1})));
  values[Type::Application] = {};
  EXPECT_FALSE(module->C_GetAttributeValue(session.handle(), key.handle(), values, nullptr));
}

}  // namespace
