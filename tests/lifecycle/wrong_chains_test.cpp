// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/wrong_chains.h"

#include <botan/x509_key.h>

#include <algorithm>

#include "api/product_test.h"

namespace ozk::tee {

class WrongChainsTest : public ProductTest {
 protected:
  /// Certificate chain and public key of "LYR".
  std::pair<std::string, std::string> identity() {
    return {product->get_client_cert("LYR"), product->get_public_key("LYR")};
  }

  /// How many certificates are installed; unless none is, "LYR" must be the key of one of them.
  std::size_t installedCertificates() {
    const Bytes signature = product->generate_signature("LYR", {1}, "");
    const std::string installed = identity().first;
    test_support::UserSession session;
    const auto chain = access.certificatesIn(*session, installed);
    EXPECT_TRUE(chain.empty() || std::any_of(chain.begin(), chain.end(), [&](const auto& certificate) {
                  const std::unique_ptr<Botan::Public_Key> key(certificate.load_subject_public_key());
                  return verifies(Botan::X509::PEM_encode(*key), {1}, signature);
                }));
    return chain.size();
  }

  std::size_t undecoded() {
    const auto lines = log.take();
    return static_cast<std::size_t>(
        std::count(lines.begin(), lines.end(),
                   error("ClientCertInitializer::getCertificates: failed to decode certificate")));
  }
};

TEST_F(WrongChainsTest, AnAnswerIsInstalledWholeOrChangesNothing) {
  for (const auto& wrong : test_support::wrongChains()) {
    SCOPED_TRACE(wrong.name);
    provision("before");
    const auto before = identity();
    const auto chain = requestChain("after");
    const std::string requested = product->get_public_key("LYR_CSR");
    log.take();
    const std::string answer = wrong.answer({chain[0], chain[1], authority.key()});
    EXPECT_EQ(product->set_client_cert_and_move_key(answer, "LYR_CSR", "LYR"),
              wrong.installed ? ResultCode::OK : ResultCode::CRYPTO_OP_ERROR);
    EXPECT_EQ(undecoded(), wrong.records);
    EXPECT_EQ(temporaries(), 0u);
    EXPECT_TRUE(signsWithInstalledKey());
    if (wrong.installed) {
      EXPECT_EQ(product->get_public_key("LYR"), requested);
      EXPECT_EQ(installedCertificates(), wrong.certificates);
    } else {
      EXPECT_EQ(identity(), before);
    }
  }
}

}  // namespace ozk::tee
