// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>
#include <botan/p11_trust_store_group.h>

#include "fake_token_test.h"

namespace {

using TrustStoreGroupStoreTest = FakeTokenTest;

const char* const kGroupSearch = "C_FindObjectsInit 7 [0=0110008000000000 3=67726f7570 80001003=434349]";
const char* const kRootSearch =
    "C_FindObjectsInit 7 [0=0100000000000000 80=0000000000000000 86=01 80001003=434349 80001005=67726f7570]";

TEST_F(TrustStoreGroupStoreTest, SearchesTheGroupOfTheClientAndThenItsRoots) {
  token.found = {11};
  PKCS11_TrustStoreGroup_Store store(session, "group", "CCI");
  EXPECT_THAT(spy.take_texts(), ElementsAre(kGroupSearch, "C_FindObjects 7 100", "C_FindObjectsFinal 7"));
  token.found.clear();
  EXPECT_THROW(store.GetRootCertBundle(session), Botan::Lookup_Error) << "the group is gone meanwhile";
  EXPECT_THAT(spy.take_texts(), ElementsAre(kRootSearch, "C_FindObjects 7 100", "C_FindObjectsFinal 7",
                                            kGroupSearch, "C_FindObjects 7 100", "C_FindObjectsFinal 7"));
}

TEST_F(TrustStoreGroupStoreTest, AnUnknownGroupIsNamedTogetherWithTheClient) {
  const auto open = [&] { PKCS11_TrustStoreGroup_Store(session, "group", "CCI"); };
  EXPECT_EQ(message_of<Botan::Lookup_Error>(open), "there is no trust store group 'group' for client 'CCI'");
  EXPECT_THAT(spy.take_texts(), ElementsAre(kGroupSearch, "C_FindObjects 7 100", "C_FindObjectsFinal 7"));
  spy.answer("C_FindObjects", CKR_DEVICE_ERROR);
  EXPECT_EQ(error_of(open), ReturnValue::DeviceError) << "which says nothing about the group";
}

TEST_F(TrustStoreGroupStoreTest, ARootThatCannotBeReadIsNotLeftOut) {
  token.found = {11};
  PKCS11_TrustStoreGroup_Store store(session, "group", "CCI");
  EXPECT_EQ(error_of([&] { store.GetRootCertBundle(session); }), ReturnValue::AttributeTypeInvalid);
  token.values[CKA_VALUE] = {0x30, 0x00};
  EXPECT_THROW(store.GetRootCertBundle(session), Botan::Decoding_Error);
}

}  // namespace
