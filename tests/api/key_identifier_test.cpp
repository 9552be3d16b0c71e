#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, AnIdentifierThatIsNotAcceptedGetsNothingAndNoRecord) {
  provision("installed");
  requestChain("waiting");
  log.take();
  for (const std::string key_id : {"", "lyr", "LYR ", "lyr_csr", "LYR_CSR ", "base", "ZEMP "}) {
    EXPECT_THAT(product->generate_csr("name", key_id), IsEmpty()) << key_id;
    EXPECT_THAT(product->generate_signature(key_id, {1}, ""), IsEmpty()) << key_id;
    EXPECT_EQ(product->get_public_key(key_id), "") << key_id;
    EXPECT_EQ(product->get_client_cert(key_id), "") << key_id;
  }
  EXPECT_THAT(product->generate_csr("name", "LYR"), IsEmpty());
  EXPECT_THAT(product->generate_signature("LYR_CSR", {1}, ""), IsEmpty());
  EXPECT_EQ(product->get_public_key("BASE"), "");
  EXPECT_EQ(product->get_client_cert("LYR_CSR"), "");
  EXPECT_THAT(log.take(), IsEmpty());
}

}  // namespace ozk::tee
