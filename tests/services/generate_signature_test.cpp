#include "api/product_test.h"

#include <botan/x509_key.h>

namespace ozk::tee {

// About one signature in 128 has an r or an s that begins with a zero byte.
TEST_F(ProductTest, SignaturesOfAnyDataVerifyAndHaveOneWidth) {
  provision("installed");
  const auto base_key = test_support::newKey();
  {
    test_support::UserSession session;
    test_support::importPrivateKey(*session, {label(1, 10)}, base_key);
  }
  const std::string installed = product->get_public_key("LYR"), base = Botan::X509::PEM_encode(base_key);
  for (std::size_t length = 0; length < 150; ++length) {
    const Bytes data(length * length, 7);
    const Bytes by_installed = product->generate_signature("LYR", data, "");
    const Bytes by_base = product->generate_signature("BASE", data, "has no effect");
    ASSERT_EQ(by_installed.size(), 64u);
    ASSERT_EQ(by_base.size(), 64u);
    ASSERT_TRUE(verifies(installed, data, by_installed));
    ASSERT_TRUE(verifies(base, data, by_base));
  }
}

TEST_F(ProductTest, AMissingBaseKeyIsAnErrorAMissingClientKeyIsNot) {
  requestChain("waiting, which does not sign");
  log.take();
  EXPECT_THAT(product->generate_signature("BASE", {1}, ""), IsEmpty());
  EXPECT_THAT(product->generate_signature("LYR", {1}, ""), IsEmpty());
  EXPECT_THAT(
      log.take(),
      ElementsAre(debug("ClientCertInitializer::Getting Base Key Id"),
                  debug("After Private Key finding, Private count = 0"),
                  error("ClientCertInitializer::generate_signature signature generation failed"),
                  debug("ClientCertInitializer::getLYRPrivateKeyHandle : count of private key found = 0")));
}

}  // namespace ozk::tee
