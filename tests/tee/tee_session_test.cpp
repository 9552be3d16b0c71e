// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/tee_session.h"

#include "api/product_test.h"

namespace ozk::tee {

using test_support::UserSession;
using ::testing::IsEmpty;

class TeeSessionTest : public ProductTest {
 protected:
  static std::vector<std::string> callsOfASession(bool login) {
    spytoken().take_calls();
    { const ::TEESession::TEESession session(login); }
    return spytoken().take_texts();
  }
};

TEST_F(TeeSessionTest, OpensAReadWriteSessionOnTheFirstSlotAndLogsInOnRequest) {
  spytoken().slots = {0, 4711};
  EXPECT_THAT(callsOfASession(true), ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1",
                                                 "C_GetSlotList 1", "C_OpenSession 0 6", "C_Login 1 1 9",
                                                 "C_Logout 1", "C_CloseSession 1", "C_Finalize"));
  EXPECT_THAT(callsOfASession(false),
              ElementsAre("C_GetFunctionList", "C_Initialize 2", "C_GetSlotList 1", "C_GetSlotList 1",
                          "C_OpenSession 0 6", "C_CloseSession 1", "C_Finalize"));
}

TEST_F(TeeSessionTest, ALoginThatFailsIsThrown) {
  const Botan::PKCS11::secure_string pin = {'4', '0', '7', '1', '8', '2', '9', '3', '\0'};
  (*UserSession()).set_pin(pin, {pin.begin(), pin.end() - 1});  // without its zero byte
  EXPECT_THROW(product->get_zemp_vin(), Botan::PKCS11::PKCS11_ReturnError);
}

TEST_F(TeeSessionTest, WithoutATokenNothingFaults) {
  token.remove();
  EXPECT_EQ(product->generate_private_key("LYR"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "BASE"), ResultCode::INVALID_KEY_ID);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "LYR"), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), ResultCode::CRYPTO_OP_ERROR);
  for (const std::string key_id : {"LYR", "LYR_CSR", "BASE", "ZEMP"}) {
    EXPECT_THAT(product->generate_csr("name", key_id), IsEmpty()) << key_id;
    EXPECT_THAT(product->generate_signature(key_id, {1}, ""), IsEmpty()) << key_id;
    EXPECT_EQ(product->get_public_key(key_id) + product->get_client_cert(key_id), "") << key_id;
  }
  EXPECT_EQ(product->get_zemp_vin() + product->get_root_cert_bundle("backend"), "");
}

TEST_F(TeeSessionTest, TheInstanceIsOneObject) {
  const auto first = ClientCertInitializerAPI::get_instance();
  const auto owners = first.use_count();
  const auto second = ClientCertInitializerAPI::get_instance();
  EXPECT_EQ(first, second);
  EXPECT_EQ(first.use_count(), owners + 1);
}

}  // namespace ozk::tee
