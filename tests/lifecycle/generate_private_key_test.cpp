#include "api/product_test.h"

namespace ozk::tee {

using Botan::PKCS11::AttributeType;
using test_support::Marks;

const std::string kGenerate = "ClientCertInitializer::generate_private_key";
const std::string kCleanUp = "ClientCertInitializer::deleteOldTemporaryKeys ";
const Marks kTemporary = {label(10, 101), "CCI_CLIENT", "LYR"};

class GeneratePrivateKeyTest : public ProductTest {};

TEST_F(GeneratePrivateKeyTest, RefusesOtherIdentifiersAndTouchesNothing) {
  requestChain("kept");
  log.take();
  for (const std::string key_id : {"LYR", "lyr_csr", "LYR_CSR ", ""}) {
    EXPECT_EQ(product->generate_private_key(key_id), ResultCode::INVALID_KEY_ID) << key_id;
    EXPECT_THAT(log.take(), ElementsAre(debug(kGenerate), error(kGenerate + " :: Invalid Key Id")));
  }
  EXPECT_EQ(countOf(lyrPrivateKeySearch(false)), 1u);
}

TEST_F(GeneratePrivateKeyTest, TheFirstKeyStaysInTheTokenAndIsLoggedInFull) {
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  const std::string lookup = "ClientCertInitializer::getLYRCertificateChainHandle";
  EXPECT_THAT(log.take(),
              ElementsAre(debug(kGenerate), debug(kCleanUp + "=>"), debug(lookup),
                          debug(lookup + " : No of chain objects found = 0"), debug(kCleanUp + "return OK"),
                          debug(kGenerate + " succesfully deleted old temp keys"),
                          debug(kGenerate + " returning OK")));
  test_support::UserSession session;
  const Botan::PKCS11::Object key(*session, access.privateKey(*session, false));
  EXPECT_EQ(key.get_attribute_value(AttributeType::Sensitive).at(0), 1);
  EXPECT_EQ(key.get_attribute_value(AttributeType::Extractable).at(0), 0);
  EXPECT_THROW(key.get_attribute_value(AttributeType::Value), Botan::PKCS11::PKCS11_ReturnError);
}

TEST_F(GeneratePrivateKeyTest, ReplacesWhatAnEarlierAttemptLeftAndNothingElse) {
  provision("installed");
  requestChain("earlier attempt");
  const std::string earlier = product->get_public_key("LYR_CSR");
  {
    test_support::UserSession session;
    test_support::importChain(*session, kTemporary, {});
    for (const Marks& marks : {Marks{label(1, 10)}, Marks{label(10, 101), "OTHER", "LYR"},
                               Marks{label(10, 101), "CCI_CLIENT", "OTHER"}}) {
      test_support::importPrivateKey(*session, marks, test_support::newKey());
    }
  }
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_NE(product->get_public_key("LYR_CSR"), earlier);
  EXPECT_EQ(countOf(lyrPublicKeySearch(false)), 1u);
  EXPECT_EQ(countOf(lyrCertificateChainSearch(false)), 0u);
  EXPECT_EQ(countOf({Botan::PKCS11::ObjectClass::PrivateKey}), 5u) << "new, installed, and three of others";
  EXPECT_NE(product->get_client_cert("LYR"), "");
  EXPECT_TRUE(signsWithInstalledKey());
}

TEST_F(GeneratePrivateKeyTest, CleansUpAHundredKeysAndOneChainACall) {
  {
    test_support::UserSession session;
    const auto key = test_support::newKey();
    for (int i = 0; i < 101; ++i) test_support::importPrivateKey(*session, kTemporary, key);
    for (int i = 0; i < 2; ++i) test_support::importChain(*session, kTemporary, {});
    EXPECT_EQ(access.deleteOldTemporaryKeys(*session), ResultCode::OK);
  }
  EXPECT_EQ(countOf(lyrPrivateKeySearch(false)), 1u);
  EXPECT_EQ(countOf(lyrCertificateChainSearch(false)), 1u);
}

TEST_F(GeneratePrivateKeyTest, AKeyThatCannotBeDestroyedStopsTheCleanUpButNotTheGeneration) {
  Marks undeletable = kTemporary;
  undeletable.destroyable = false;
  {
    test_support::UserSession session;
    test_support::importPrivateKey(*session, undeletable, test_support::newKey());
    test_support::importChain(*session, kTemporary, {});
  }
  EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  EXPECT_THAT(log.take(),  // CKR_ACTION_PROHIBITED
              ElementsAre(debug(kGenerate), debug(kCleanUp + "=>"),
                          error("LYR temporary private key delete fail, Exception thrown : PKCS11 error 27"),
                          debug(kGenerate + " returning OK")));
  EXPECT_EQ(countOf(lyrPrivateKeySearch(false)), 2u);
  EXPECT_EQ(countOf(lyrCertificateChainSearch(false)), 1u);
}

}  // namespace ozk::tee
