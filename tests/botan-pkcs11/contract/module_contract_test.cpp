// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "contract_test.h"

namespace {

/// Blank-padded text as the info structures have it.
template <size_t size>
std::string text(const unsigned char (&field)[size]) {
  return std::string(field, field + size);
}

using ModuleTest = TokenTest;
ON_TOKENS(ModuleTest, kAllTokens);

TEST_P(ModuleTest, SaysItsVersionInPaddedText) {
  const Info info = module.get_info();
  EXPECT_EQ(info.cryptokiVersion.major, 2);
  EXPECT_EQ(info.cryptokiVersion.minor, 40);
  for (const auto& padded : {text(info.manufacturerID), text(info.libraryDescription)}) {
    EXPECT_EQ(padded.find('\0'), std::string::npos);
    EXPECT_EQ(padded.back(), ' ');
  }
}

TEST_P(ModuleTest, IsInitializedOnceAProcessUntilItReloadsAndMoves) {
  const SessionHandle old = Session(slot, false).release();
  EXPECT_EQ(message_of<PKCS11_ReturnError>([] { Module{GetParam().module}; }), "PKCS11 error 401");
  EXPECT_CODE(OK, Session(slot, Session(slot, old).release())) << "the first goes on";
  module.reload();
  EXPECT_CODE(SessionHandleInvalid, Session(slot, old));
  Module moved(std::move(module));
  Slot slot_of_moved(moved, slot.slot_id());
  Session session(slot_of_moved, false);
  EXPECT_NO_THROW(session.login(UserType::User, pin));
}

using SlotTest = TokenTest;
ON_TOKENS(SlotTest, kAllTokens);

TEST_P(SlotTest, TellsOfItselfAndItsToken) {
  const Session reader(slot, true), writer(slot, false);
  EXPECT_THAT(Slot::get_available_slots(module, false), testing::Contains(slot.slot_id()));
  EXPECT_NE(slot.get_slot_info().flags & flags(Flag::TokenPresent), 0U);
  const TokenInfo info = slot.get_token_info();
  EXPECT_EQ(text(info.label), "contract" + std::string(24, ' '));
  EXPECT_NE(text(info.serialNumber), std::string(16, ' '));
  const Flags expected =
      flags(Flag::Rng | Flag::LoginRequired | Flag::UserPinInitialized | Flag::TokenInitialized);
  EXPECT_EQ(info.flags & (expected | flags(Flag::WriteProtected)), expected);
  EXPECT_THAT(info.ulSessionCount, testing::AnyOf(2, CK_UNAVAILABLE_INFORMATION));
  EXPECT_THAT(info.ulRwSessionCount, testing::AnyOf(1, CK_UNAVAILABLE_INFORMATION));
}

TEST_P(SlotTest, ListsItsMechanismsAndWhatEachIsFor) {
  const Flags sign = flags(Flag::Sign | Flag::Verify), named_curves = flags(Flag::EcNamedcurve);
  std::map<MechanismType, Flags> expected = {{MechanismType::EcKeyPairGen, flags(Flag::GenerateKeyPair)},
                                             {MechanismType::Ecdsa, sign}};
  for (const auto& hash : GetParam().hashes) {
    expected.emplace(hash.second, sign);
  }
  size_t listed = 0;
  for (const MechanismType type : slot.get_mechanism_list()) {
    if (type >= MechanismType::EcKeyPairGen && type <= MechanismType::EcdsaSha512) {
      ++listed;
      const MechanismInfo info = slot.get_mechanism_info(type);
      EXPECT_EQ(info.flags & (sign | flags(Flag::GenerateKeyPair) | named_curves),
                expected[type] | named_curves);
      EXPECT_LE(info.ulMinKeySize, 256U);
      EXPECT_GE(info.ulMaxKeySize, 521U);
    }
  }
  EXPECT_EQ(listed, expected.size());
  EXPECT_CODE(MechanismInvalid, slot.get_mechanism_info(MechanismType::VendorDefined));
}

TEST_P(SlotTest, ANumberOfNoSlotIsRefusedByEachCall) {
  Slot none(module, 0x7FFFFFFF);
  EXPECT_CODE(SlotIdInvalid, none.get_slot_info());
  EXPECT_CODE(SlotIdInvalid, none.get_token_info());
  EXPECT_CODE(SlotIdInvalid, none.get_mechanism_list());
  EXPECT_CODE(SlotIdInvalid, none.get_mechanism_info(MechanismType::Ecdsa));
  EXPECT_CODE(SlotIdInvalid, none.initialize("", so_pin));
  EXPECT_CODE(SlotIdInvalid, Session(none, true));
}

using NewSlotTest = NewTokenTest;
ON_TOKENS(NewSlotTest, kAllTokens);

TEST_P(NewSlotTest, HasATokenThatMustBeInitializedFirst) {
  Slot blank = first_slot();
  EXPECT_EQ(blank.get_token_info().flags & flags(Flag::TokenInitialized | Flag::UserPinInitialized), 0U);
  EXPECT_CODE(TokenNotRecognized, Session(blank, true));
}

using EmptySlotTest = NewTokenTest;
ON_TOKENS(EmptySlotTest, tokens_with(&Token::slot_can_be_empty));

TEST_P(EmptySlotTest, IsListedAmongAllSlotsAlone) {
  std::filesystem::remove(folder.path() / "tee");
  EXPECT_THAT(Slot::get_available_slots(module, true), IsEmpty());
  Slot slot(module, Slot::get_available_slots(module, false).at(0));
  EXPECT_EQ(slot.get_slot_info().flags & flags(Flag::TokenPresent), 0U);
  EXPECT_CODE(TokenNotPresent, slot.get_token_info());
  EXPECT_CODE(TokenNotPresent, slot.get_mechanism_list());
  EXPECT_CODE(TokenNotPresent, Session(slot, true));
}

}  // namespace
