// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <openssl/core_names.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <regex>

#include "api/product_test.h"
#include "support/token_snapshot.h"

namespace ozk::tee {

namespace {

constexpr long kRefused = -1;

/// One way in which a backend may answer, and what the library makes of it.
struct WrongChain {
  const char* name;
  std::string answer;
  long certificates;  ///< in the chain that is installed; kRefused: the installed identity stays
  long records = 0;   ///< error records about what could not be decoded
};

template <typename T>
std::shared_ptr<T> owned(T* handle, void (*release)(T*)) {
  return {handle, release};
}

}  // namespace

/// A token with an installed identity and a temporary key pair, and the answers to the request for that.
class WrongChainsTest : public ProductTest {
 protected:
  /// The right answer with the leaf changed, and signed anew by another CA, over SHA-1.
  std::string leafWith(const std::function<void(X509*)>& change) {
    Bytes der = leaf_der;
    const unsigned char* at = der.data();
    const auto changed = owned(d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free);
    change(changed.get());
    EXPECT_GT(X509_sign(changed.get(), owned(EVP_EC_gen("P-256"), EVP_PKEY_free).get(), EVP_sha1()), 0);
    der.resize(static_cast<std::size_t>(i2d_X509(changed.get(), nullptr)));
    unsigned char* to = der.data();
    i2d_X509(changed.get(), &to);
    return Botan::PEM_Code::encode(der, "CERTIFICATE") + root;
  }
  std::string leafFor(EVP_PKEY* key) {
    const auto owner = owned(key, EVP_PKEY_free);
    return leafWith([&](X509* changed) { EXPECT_EQ(X509_set_pubkey(changed, key), 1); });
  }
  /// The requested key, encoded in another way.
  std::string leafKeyWith(const char* parameter, const char* value) {
    return leafWith([&](X509* changed) {
      const auto key = owned(EVP_PKEY_dup(X509_get0_pubkey(changed)), EVP_PKEY_free);
      EXPECT_EQ(EVP_PKEY_set_utf8_string_param(key.get(), parameter, value), 1);
      EXPECT_EQ(X509_set_pubkey(changed, key.get()), 1);
    });
  }

  std::string replaced(const char* pattern, const std::string& by) const {
    return std::regex_replace(both, std::regex(pattern), by);
  }

  const Chain before = provision("before"), after = requestChain("after");
  const Bytes leaf_der = after[0].BER_encode();
  const TokenSnapshot start{token.path()};
  const std::string leaf = after[0].PEM_encode(), root = after[1].PEM_encode(), both = leaf + root;

  const std::vector<WrongChain> cases = {
      {"right", both, 2},
      {"leaf alone", leaf, 1},
      {"no leaf", root, kRefused},
      {"leaf last", root + leaf, 2},
      {"leaf for another key", leafFor(EVP_EC_gen("P-256")), kRefused},
      {"leaf for a P-384 key", leafFor(EVP_EC_gen("P-384")), kRefused},
      {"leaf for an RSA key", leafFor(EVP_RSA_gen(2048)), kRefused},
      {"curve as parameters", leafKeyWith(OSSL_PKEY_PARAM_EC_ENCODING, "explicit"), 2},
      {"compressed point", leafKeyWith(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed"), 2},
      {"expired", leafWith([](X509* c) { X509_gmtime_adj(X509_getm_notAfter(c), -1); }), 2},
      {"without end date",
       leafWith([](X509* c) { ASN1_TIME_set_string_X509(X509_getm_notAfter(c), "99991231235959Z"); }),
       kRefused, 1},
      {"CRLF", replaced("\n", "\r\n"), 2},
      {"text around", "Certificate:\n    Data:\n" + both + "0 errors\n", 2},
      {"cut in the leaf", both.substr(0, leaf.size() - 90), 0},
      {"cut in the root", both.substr(0, both.size() - 128), 1},
      {"not base64", std::string(both).insert(28, "*"), kRefused, 1},
      {"line breaks of JSON", replaced("\n", "\\n"), 0, 2},
      {"label TRUSTED CERTIFICATE", replaced("CERTIFICATE", "TRUSTED CERTIFICATE"), 0, 2},
      {"base64 alone", replaced("-----[A-Z ]*-----\n", ""), 0},
      {"UTF-16", replaced("([^])", std::string("$1") + '\0'), 0},
      {"DER", std::string(leaf_der.begin(), leaf_der.end()), 1},
      {"private key behind", both + Botan::PKCS8::PEM_encode(newKey()), 2, 1},
      {"error page", "<html><body><h1>502 Bad Gateway</h1></body></html>\n", 0},
      {"a million digits", std::string(1000000, '0'), 0, 19999},
      {"nothing", "", 0},
  };
};

TEST_F(WrongChainsTest, AnAnswerIsInstalledWholeOrChangesNothing) {
  const LogLine undecoded = {ara::log::LogLevel::kError,
                             "ClientCertInitializer::getCertificates: failed to decode certificate"};
  const std::regex begin("BEGIN CERTIFICATE");
  for (const auto& wrong : cases) {
    SCOPED_TRACE(wrong.name);
    start.restore();
    log.take();
    const bool refused = wrong.certificates == kRefused;
    EXPECT_EQ(install(wrong.answer), refused ? ResultCode::CRYPTO_OP_ERROR : ResultCode::OK);
    const auto records = log.take();
    EXPECT_EQ(std::count(records.begin(), records.end(), undecoded), wrong.records);
    EXPECT_EQ(TokenContent::now().temporary, TokenContent().temporary);
    EXPECT_TRUE(signsWithInstalledKey());
    EXPECT_EQ(product->get_public_key("LYR"), certifiedKey(pem(refused ? before : after)));
    const std::string chain = product->get_client_cert("LYR");
    const auto count = std::distance(std::sregex_iterator(chain.begin(), chain.end(), begin), {});
    EXPECT_TRUE(refused ? chain == pem(before) : count == wrong.certificates) << chain;
  }
}

}  // namespace ozk::tee
