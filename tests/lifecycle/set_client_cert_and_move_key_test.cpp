// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/product_test.h"

namespace ozk::tee {

class SetClientCertTest : public ProductTest {
 protected:
  ResultCode remove() { return product->set_client_cert_and_move_key("", "", "LYR"); }

  /// Whether "LYR" is this chain and a key that signs for its certificate.
  bool serves(const Chain& chain) {
    return product->get_client_cert("LYR") == pem(chain) &&
           product->get_public_key("LYR") == certifiedKey(pem(chain)) && signsWithInstalledKey();
  }

  /// Which objects are left when the destruction of one kind failed, and of those before it did not.
  static void expectLeftFrom(unsigned nth, const std::array<TokenContent::Handles, 3>& objects) {
    for (unsigned kind = 0; kind < 3; ++kind) EXPECT_EQ(objects[kind].size(), kind + 1 >= nth);
  }
};

TEST_F(SetClientCertTest, InstallsAKeyPairWithItsChainAndLeavesNothingTemporary) {
  for (const char* name : {"first", "second"}) {
    const auto chain = requestChain(name);
    EXPECT_EQ(install(chain), ResultCode::OK);
    EXPECT_TRUE(serves(chain)) << name;
    EXPECT_EQ(temporaries(), 0u);
    for (const auto& kind : TokenContent::now().installed) EXPECT_EQ(kind.size(), 1u);
  }
}

TEST_F(SetClientCertTest, LeavesOutWhatCannotBeDecodedAndKeepsTheOrder) {
  auto chain = requestChain("device");
  chain.insert(chain.begin() + 1, test_support::CertificateAuthority("between").root());
  const std::string damaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
  EXPECT_EQ(product->set_client_cert_and_move_key(damaged + pem(chain), "LYR_CSR", "LYR"), ResultCode::OK);
  EXPECT_TRUE(serves(chain));
}

TEST_F(SetClientCertTest, RefusesOtherIdentifiersAndChangesNothing) {
  provision("installed");
  const std::string chain = pem(requestChain("temporary"));
  const auto before = TokenContent::now();
  const std::string cases[][3] = {
      {chain, "LYR_CSR", "BASE"}, {chain, "LYR_CSR", "LYR "}, {chain, "LYR", "LYR"}, {chain, "", "LYR"},
      {"", "", "ZEMP"},           {"", "other", "LYR"},       {"", "LYR_CSR", ""}};
  for (const auto& [cert_chain, temp_key_id, key_id] : cases) {
    EXPECT_EQ(product->set_client_cert_and_move_key(cert_chain, temp_key_id, key_id),
              ResultCode::INVALID_KEY_ID)
        << temp_key_id << ' ' << key_id;
  }
  EXPECT_EQ(TokenContent::now(), before);
}

TEST_F(SetClientCertTest, AnOldChainIsNotInstalledBesideANewKey) {
  const auto chain = provision("installed");
  requestChain("temporary");
  EXPECT_EQ(install(chain), ResultCode::CRYPTO_OP_ERROR);
  EXPECT_EQ(temporaries(), 0u) << "they are deleted although nothing was installed";
  EXPECT_TRUE(serves(chain));
  EXPECT_EQ(install(chain), ResultCode::CRYPTO_OP_ERROR) << "without a temporary key pair";
  EXPECT_TRUE(serves(chain));
}

TEST_F(SetClientCertTest, AChainThatTheTokenDoesNotStoreLeavesTheTemporaryKeys) {
  const auto chain = provision("installed");
  const auto next = requestChain("next");
  spytoken().answer("C_CreateObject", CKR_DEVICE_MEMORY);
  EXPECT_EQ(install(next), ResultCode::TOKEN_STORE_ERROR);
  EXPECT_EQ(temporaries(), 2u);
  EXPECT_TRUE(serves(chain));
  spytoken().stop_interfering();
  EXPECT_EQ(install(next), ResultCode::OK);
}

TEST_F(SetClientCertTest, ATemporaryObjectThatCannotBeDeletedStopsTheCleanUpOfAnInstallation) {
  for (const unsigned nth : {1u, 2u, 3u}) {  // public key, private key, chain
    const auto chain = requestChain("next");
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(install(chain), ResultCode::CRYPTO_OP_ERROR);
    spytoken().stop_interfering();
    EXPECT_TRUE(serves(chain));
    expectLeftFrom(nth, TokenContent::now().temporary);
  }
}

TEST_F(SetClientCertTest, ADeletionStopsAtTheFirstFailureAndTheNextCompletesIt) {
  for (const unsigned nth : {1u, 2u, 3u}) {
    provision("installed");  // over what the deletion before left
    spytoken().answer("C_DestroyObject", CKR_DEVICE_ERROR, nth);
    EXPECT_EQ(remove(), ResultCode::CRYPTO_OP_ERROR);
    expectLeftFrom(nth, TokenContent::now().installed);
    spytoken().stop_interfering();
  }
  EXPECT_EQ(remove(), ResultCode::OK);
  EXPECT_EQ(TokenContent::now().installed, TokenContent().installed);
}

}  // namespace ozk::tee
