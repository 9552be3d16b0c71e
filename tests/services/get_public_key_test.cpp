#include "api/product_test.h"

#include <botan/pem.h>

namespace ozk::tee {

TEST_F(ProductTest, PublicKeysNameTheirCurveAndCarryAnUncompressedPoint) {
  provision("installed");
  EXPECT_THROW(product->get_public_key("LYR_CSR"), Botan::PKCS11::PKCS11_ReturnError)
      << "accepted, not there";
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_NE(product->get_public_key("LYR"), product->get_public_key("LYR_CSR"));
  for (const std::string key_id : {"LYR", "LYR_CSR"}) {
    const auto der = Botan::PEM_Code::decode_check_label(product->get_public_key(key_id), "PUBLIC KEY");
    EXPECT_EQ(der.size(), 91u) << "with explicit parameters it is 311 bytes";
    EXPECT_EQ(der.at(26), 0x04);
  }
}

}  // namespace ozk::tee
