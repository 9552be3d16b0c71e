#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, ASearchThatFailsIsLoggedAndFindsNothing) {
  test_support::UserSession session;
  (*session).release();  // what is searched now is session 0: CKR_SESSION_HANDLE_INVALID
  const auto expect_record = [&](Botan::PKCS11::ObjectHandle found, const std::string& what) {
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(log.take().back(),
              error("Exception to get " + what + " handle with exception PKCS11 error 179"));
  };
  expect_record(access.publicKey(*session, true), "permanent LYR public key");
  expect_record(access.publicKey(*session, false), "temporary LYR public key");
  expect_record(access.privateKey(*session, true), "permanent LYR private key");
  expect_record(access.privateKey(*session, false), "temporary LYR private key");
  expect_record(access.basePrivateKey(*session), "permanent BASE private key");
  expect_record(access.chain(*session, true), "LYR certificate chain");
  expect_record(access.chain(*session, false), "LYR certificate chain");
}

}  // namespace ozk::tee
