// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/tee_session.h"

#include "api/journal.h"
#include "support/spytoken.h"

namespace ozk::tee {

TEST_F(JournalTest, ALoginThatFailsIsThrownAndLeavesNothingOpen) {
  const Botan::PKCS11::secure_string pin = {'4', '0', '7', '1', '8', '2', '9', '3', '\0'};
  { (*test_support::UserSession()).set_pin(pin, {pin.begin(), pin.end() - 1}); }  // without its zero byte
  Journal expected = opened();
  expected.back() += " = 0xa0";
  expect([&] { product->get_zemp_vin(); },
         expected + Journal{"C_CloseSession 1", "C_Finalize", "thrown: PKCS11 error 160"});
}

TEST_F(JournalTest, WithoutLoginASessionIsReadWriteAllTheSame) {
  expect([] { const ::TEESession::TEESession without_login(false); },
         {"C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1 -> 1", "C_GetSlotList 1 -> 0",
          "C_OpenSession 0 6 -> 1", "C_CloseSession 1", "C_Finalize"});
}

TEST_F(JournalTest, TheFirstOfSeveralSlotsIsUsed) {
  test_support::spytoken().show_slots(test_support::Slots::kOneMore);
  Journal two = opened();
  two[2] = "C_GetSlotList 1 -> 2";
  two[3] = "C_GetSlotList 1 -> 0 4711";
  expect([&] { product->get_client_cert(""); }, two + closed());
  test_support::spytoken().show_slots(test_support::Slots::kNone);
  expect([&] { product->get_client_cert("LYR"); },
         {"C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1 -> 0", "C_Finalize"});
}

TEST_F(ProductTest, WithoutATokenNothingFaults) {
  token.remove();
  const std::string generate = "ClientCertInitializer::generate_private_key";
  const std::string set = "ClientCertInitializer::set_client_cert_and_move_key ";
  EXPECT_EQ(product->generate_private_key("LYR"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "BASE"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "LYR"), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_THAT(log.take(), ElementsAre(debug(generate), error(generate + " :: Invalid Key Id"),
                                      debug(generate), debug(set + "==>"), debug(set + "==>"),
                                      debug(set + "==>"), debug(set + "Delete LYR certificate and keys")));

  for (const std::string key_id : {"LYR", "LYR_CSR", "BASE", "ZEMP"}) {
    EXPECT_THAT(product->generate_csr("name", key_id), IsEmpty()) << key_id;
    EXPECT_THAT(product->generate_signature(key_id, {1}, ""), IsEmpty()) << key_id;
    EXPECT_EQ(product->get_public_key(key_id) + product->get_client_cert(key_id), "") << key_id;
  }
  EXPECT_EQ(product->get_zemp_vin(), "");
  log.take();
  EXPECT_EQ(product->get_root_cert_bundle("backend"), "");
  EXPECT_THAT(log.take(), ElementsAre(debug("ClientCertInitializer::get_root_cert_bundle: ==>")));
}

}  // namespace ozk::tee
