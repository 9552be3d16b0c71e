// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

#include "fake_token_test.h"

namespace {

using LowLevelTest = FakeTokenTest;

TEST(ReturnErrorTest, SaysTheLow32BitsInDecimalAndKeepsAll) {
  EXPECT_STREQ(PKCS11_ReturnError(ReturnValue::CryptokiAlreadyInitialized).what(), "PKCS11 error 401");
  const PKCS11_ReturnError error(static_cast<ReturnValue>(0x180000001));
  EXPECT_STREQ(error.what(), "PKCS11 error 2147483649");
  EXPECT_EQ(error.error_code(), -2147483647);
  EXPECT_EQ(error.get_return_value(), static_cast<ReturnValue>(0x180000001));
  EXPECT_EQ(error.error_type(), Botan::ErrorType::Pkcs11Error);
}

TEST_F(LowLevelTest, RefusesANullListAndReportsFunctionsThatAListLacks) {
  EXPECT_EQ(message_of<Botan::Invalid_Argument>([] { LowLevel(nullptr); }),
            "Invalid PKCS#11 function list ptr");
  CK_FUNCTION_LIST empty = {};
  EXPECT_EQ(error_of([&] { LowLevel(&empty).C_Logout(7); }), ReturnValue::FunctionNotSupported);
}

TEST_F(LowLevelTest, ReadsListsInTwoCallsAndEmptyListsInOne) {
  EXPECT_THAT(Slot::get_available_slots(module, true), IsEmpty());
  token.slots = {4, 9};
  EXPECT_THAT(Slot::get_available_slots(module, false), ElementsAre(4, 9));
  EXPECT_THAT(spy.take_texts(), ElementsAre("C_GetSlotList 1", "C_GetSlotList 0", "C_GetSlotList 0"));
}

TEST_F(LowLevelTest, LeavesOutWhatGoesAwayBetweenTheTwoCalls) {
  token.slots = {4, 9};
  token.values[CKA_LABEL] = {'a', 'b'};
  spy.observer = [&](const test_support::SpiedCall&) { token.slots = {9}, token.values[CKA_LABEL] = {'c'}; };
  EXPECT_THAT(Slot::get_available_slots(module, true), ElementsAre(9));
  token.values[CKA_LABEL] = {'a', 'b'};
  EXPECT_EQ(Object(session, 21).get_attribute_value(AttributeType::Label), secret("c"));
  spy.observer = nullptr;
}

}  // namespace
