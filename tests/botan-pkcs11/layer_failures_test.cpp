// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_trust_store_group.h>
#include <botan/pubkey.h>
#include <tee_token/vendor_interface.h>

#include "layer_test.h"

namespace {

using LayerFailuresTest = SpiedTest;

TEST_F(LayerFailuresTest, ATokensCodeIsThrownReturnedOrDroppedAsTheLastArgumentSays) {
  ReturnValue code = ReturnValue::OK;
  EXPECT_CODE(CKR_SESSION_HANDLE_INVALID, module->C_Logout(0));
  EXPECT_FALSE(module->C_Logout(0, nullptr));
  EXPECT_FALSE(module->C_Logout(0, &code));
  EXPECT_EQ(code, ReturnValue::SessionHandleInvalid);
}

TEST_F(LayerFailuresTest, AValueThatShrinksBetweenTheTwoCallsIsReadWhole) {
  CK_FUNCTION_LIST functions = {};
  functions.C_GetAttributeValue = [](CK_ULONG, CK_ULONG, CK_ATTRIBUTE* attribute, CK_ULONG) -> CK_RV {
    return attribute->ulValueLen = attribute->pValue == nullptr ? 2 : 1, CKR_OK;
  };
  const LowLevel shrinking(&functions);
  std::map<AttributeType, Bytes> values = {{AttributeType::Label, {}}};
  EXPECT_TRUE(shrinking.C_GetAttributeValue(0, 0, values));
  EXPECT_EQ(values[AttributeType::Label].size(), 1U);
  EXPECT_CODE(CKR_FUNCTION_NOT_SUPPORTED, shrinking.C_Logout(0)) << "it is not in the list";
}

TEST_F(LayerFailuresTest, ASignatureThatFailsOrIsDroppedIsEndedOnTheToken) {
  Botan::AutoSeeded_RNG rng;
  const auto pair = generate_ecdsa_keypair(session, params(Botan::EC_Group("secp256r1")), {});
  Botan::PK_Signer signer(pair.second, rng, "EMSA1(SHA-256)");
  for (const std::string function : {"C_SignUpdate", "C_SignFinal"}) {
    spy.answer(function, CKR_DEVICE_ERROR, 1);
    EXPECT_CODE(CKR_DEVICE_ERROR, signer.update("one"); signer.update("two"); signer.signature(rng));
    EXPECT_CODE(CKR_OK, ObjectFinder(session, {})) << function;
  }
  Botan::PK_Signer(pair.second, rng, "EMSA1(SHA-256)").update("dropped");
  Botan::PK_Verifier(pair.first, "EMSA1(SHA-256)").update("dropped");
  EXPECT_CODE(CKR_OK, ObjectFinder(session, {}));
}

TEST_F(LayerFailuresTest, ATrustStoreIsCompleteOrAnError) {
  session.logoff();
  session.login(UserType::SO, so_pin);
  ObjectProperties group(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP));
  group.add_string(AttributeType::Label, "group");
  group.add_string(static_cast<AttributeType>(TEE_CKA_VENDOR_CLIENT_ID), "CCI");
  const Object created(session, group);
  const auto open = [&] { return PKCS11_TrustStoreGroup_Store(session, "group", "CCI"); };
  auto store = open();
  created.destroy();
  EXPECT_THROW(store.GetRootCertBundle(session), Botan::Lookup_Error) << "the group was deleted meanwhile";
  EXPECT_EQ(message_of<Botan::Lookup_Error>(open), "there is no trust store group 'group' for client 'CCI'");
}

}  // namespace
