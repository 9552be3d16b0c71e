#include "api/product_test.h"

namespace ozk::tee {

using test_support::pem;

const std::string kSet = "ClientCertInitializer::set_client_cert_and_move_key";
const std::string kPublic = "ClientCertInitializer::getLYRPublicKeyHandle : ";
const std::string kPrivate = "ClientCertInitializer::getLYRPrivateKeyHandle : ";
const std::string kChain = "ClientCertInitializer::getLYRCertificateChainHandle";

class SetClientCertTest : public ProductTest {
 protected:
  std::size_t installed() {
    return countOf(lyrPublicKeySearch(true)) + countOf(lyrPrivateKeySearch(true)) +
           countOf(lyrCertificateChainSearch(true));
  }
};

TEST_F(SetClientCertTest, EachInstallationReplacesTheOneBefore) {
  for (const std::string name : {"first", "second"}) {
    const auto chain = requestChain(name);
    const std::string requested = product->get_public_key("LYR_CSR");
    EXPECT_EQ(install(chain), ResultCode::OK);
    EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
    EXPECT_EQ(product->get_public_key("LYR"), requested);
    EXPECT_TRUE(signsWithInstalledKey());
    EXPECT_EQ(installed(), 3u);
    EXPECT_EQ(temporaries(), 0u);
  }
}

TEST_F(SetClientCertTest, AChainForAnotherKeyIsRefusedAndTheInstalledOneServesOn) {
  const auto first = provision("first");
  const std::string first_key = product->get_public_key("LYR");
  ASSERT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
  log.take();
  EXPECT_EQ(install(first), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_THAT(log.take(), ::testing::Contains(error(kSet + " returned error")));
  EXPECT_EQ(product->get_client_cert("LYR"), pem(first));
  EXPECT_EQ(product->get_public_key("LYR"), first_key);
  EXPECT_TRUE(signsWithInstalledKey());
  EXPECT_EQ(temporaries(), 0u);
}

TEST_F(SetClientCertTest, ARotationIsLoggedInFull) {
  provision("first");
  const auto chain = requestChain("second");
  std::vector<std::string> handle;
  {
    test_support::UserSession session;
    for (const bool permanent : {false, true}) {
      handle.push_back(std::to_string(access.publicKey(*session, permanent)));
      handle.push_back(std::to_string(access.privateKey(*session, permanent)));
    }
  }
  log.take();
  ASSERT_EQ(install(chain), ResultCode::OK);
  const auto lines = log.take();
  ASSERT_EQ(lines.size(), 28u);
  const std::string chain_handle = lines[15].text.substr(lines[15].text.rfind(' ') + 1);
  EXPECT_THAT(
      lines,
      ElementsAre(
          debug(kSet + " ==>"), debug(kPublic + "==>"), debug(kPublic + "Search LYR"),
          debug(kPublic + "count of public key found = 1"), debug(kPublic + "<=="),
          debug(kSet + " TEMPorary PUBLIC key Handle = " + handle[0]),
          debug(kPrivate + "count of private key found = 1"),
          debug(kSet + " TEMPorary PRIVATE key Handle = " + handle[1]), debug(kSet + " addHandleSize = 2"),
          debug("Handles in addHandle = " + handle[0]), debug("Handles in addHandle = " + handle[1]),
          debug(kSet + " after push addHandleSize = 3"),
          debug("Handles in addHandle after push = " + handle[0]),
          debug("Handles in addHandle after push = " + handle[1]),
          debug("Handles in addHandle after push = " + chain_handle),
          debug(kSet + " chain handle = " + chain_handle), debug(kPublic + "==>"),
          debug(kPublic + "Search Permanent Pub key"), debug(kPublic + "count of public key found = 1"),
          debug(kPublic + "<=="), debug(kSet + " PUBLIC key Handle = " + handle[2]),
          debug(kSet + " Before getLYRPrivateKeyHandle"), debug(kPrivate + "count of private key found = 1"),
          debug(kSet + " PRIVATE key Handle = " + handle[3]), debug(kSet + " After  getLYRPrivateKeyHandle"),
          debug(kChain), debug(kChain + " : No of chain objects found = 1"), debug(kSet + ": <==")));
}

TEST_F(SetClientCertTest, OtherIdentifiersAreRefusedAndNothingChanges) {
  const auto installed_chain = provision("installed");
  const std::string chain = pem(requestChain("waiting"));
  log.take();
  const std::string cases[][3] = {
      {chain, "LYR_CSR", "BASE"}, {chain, "LYR_CSR", "LYR "}, {chain, "LYR", "LYR"}, {chain, "", "LYR"},
      {"", "", "ZEMP"},           {"", "other", "LYR"},       {"", "LYR_CSR", ""}};
  for (const auto& [cert_chain, temp_key_id, key_id] : cases) {
    EXPECT_EQ(product->set_client_cert_and_move_key(cert_chain, temp_key_id, key_id),
              ResultCode::INVALID_KEY_ID)
        << temp_key_id << ' ' << key_id;
    EXPECT_THAT(log.take(), ElementsAre(debug(kSet + " ==>")));
  }
  EXPECT_EQ(product->get_client_cert("LYR"), pem(installed_chain));
  EXPECT_EQ(temporaries(), 2u);
}

TEST_F(SetClientCertTest, AnEmptyChainIsInstalledAsSuch) {
  requestChain("never certified");
  EXPECT_EQ(product->set_client_cert_and_move_key("", "LYR_CSR", "LYR"), ResultCode::OK);
  EXPECT_EQ(product->get_client_cert("LYR"), "");
  EXPECT_TRUE(signsWithInstalledKey());
}

TEST_F(SetClientCertTest, WithoutATemporaryKeyPairFailsAndTheInstalledOneServesOn) {
  const auto chain = provision("installed");
  EXPECT_EQ(install(chain), ResultCode::CRYPTO_OP_ERROR);
  auto lines = log.take();
  lines.erase(lines.begin(), lines.end() - 4);
  EXPECT_THAT(lines,
              ElementsAre(error(kSet + " returned error"),
                          error("LYR public session key delete fail, Exception thrown : PKCS11 error 18"),
                          error("ClientCertInitializer::deleteSessionCertificateAndKeys returned error"),
                          debug(kSet + ": <==")));
  EXPECT_EQ(product->get_client_cert("LYR"), pem(chain));
  EXPECT_TRUE(signsWithInstalledKey());
}

TEST_F(SetClientCertTest, DeletionRemovesTheInstalledObjectsAloneAndCanBeRepeated) {
  provision("installed");
  requestChain("waiting");
  log.take();
  EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), ResultCode::OK);
  const auto records = [](const std::string& count) {
    return ElementsAre(debug(kSet + " ==>"), debug(kSet + " Delete LYR certificate and keys"),
                       debug(kPublic + "==>"), debug(kPublic + "Search Permanent Pub key"),
                       debug(kPublic + "count of public key found = " + count), debug(kPublic + "<=="),
                       debug(kPrivate + "count of private key found = " + count), debug(kChain),
                       debug(kChain + " : No of chain objects found = " + count));
  };
  EXPECT_THAT(log.take(), records("1"));
  EXPECT_EQ(installed(), 0u);
  EXPECT_EQ(temporaries(), 2u);
  EXPECT_EQ(product->set_client_cert_and_move_key("", "", "LYR"), ResultCode::OK);
  EXPECT_THAT(log.take(), records("0"));
}

}  // namespace ozk::tee
