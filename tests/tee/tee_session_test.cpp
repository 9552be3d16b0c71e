// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/tee_session.h"

#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, ASessionIsReadWriteOnTheFirstSlotAndLogsInOnRequest) {
  CK_FUNCTION_LIST two_slots = *spytoken().module().cryptoki;
  two_slots.C_GetSlotList = [](CK_BBOOL, CK_SLOT_ID* slots, CK_ULONG* count) -> CK_RV {
    *count = 2;
    if (slots != nullptr) slots[0] = 0, slots[1] = 4711;
    return CKR_OK;
  };
  spytoken().module().cryptoki = &two_slots;
  spytoken().take_calls();
  { const ::TEESession::TEESession session(true); }
  EXPECT_THAT(spytoken().take_texts(), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1",
                                                   "C_GetSlotList 1", "C_OpenSession 0 6", "C_Login 1 1 9",
                                                   "C_Logout 1", "C_CloseSession 1", "C_Finalize"));
  { const ::TEESession::TEESession session(false); }
  EXPECT_THAT(spytoken().take_texts(),
              ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1", "C_GetSlotList 1",
                          "C_OpenSession 0 6", "C_CloseSession 1", "C_Finalize"));
}

#ifndef CCI_SANITIZED
// Looked for without a call, which would overwrite the stack of those before it.
TEST_F(ProductTest, ALoginLeavesNoPinOnTheStack) {
  static const char pin[] = "40718293";
  const ::TEESession::TEESession session(true);
  const char* const here = static_cast<const char*>(__builtin_frame_address(0));
  std::size_t equal = 0;
  for (const char* at = here - 0x4000; at != here && equal != 8; ++at)
    equal = *at == pin[equal] ? equal + 1 : 0;
  EXPECT_NE(equal, 8u);
}
#endif

TEST_F(ProductTest, WithoutATokenNothingFaults) {
  ::setenv("TEE_TOKEN_DIR", (token.path() / "nowhere").c_str(), 1);
  EXPECT_EQ(product->generate_private_key("LYR"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(generate(), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "BASE"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(install(""), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(remove(), ResultCode::CRYPTO_OP_ERROR);
  for (const std::string key_id : {"LYR", "LYR_CSR", "BASE", "ZEMP"}) {
    EXPECT_TRUE(product->generate_csr("name", key_id).empty()) << key_id;
    EXPECT_TRUE(product->generate_signature(key_id, {1}, "").empty()) << key_id;
    EXPECT_EQ(product->get_public_key(key_id) + product->get_client_cert(key_id), "") << key_id;
  }
  EXPECT_EQ(product->get_zemp_vin() + product->get_root_cert_bundle("backend"), "");
}

TEST_F(ProductTest, TheInstanceIsOneObject) {
  const auto owners = product.use_count();
  const auto second = ClientCertInitializerAPI::get_instance();
  EXPECT_EQ(second, product);
  EXPECT_EQ(second.use_count(), owners + 1);
}

}  // namespace ozk::tee
