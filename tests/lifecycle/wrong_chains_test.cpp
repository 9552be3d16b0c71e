// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "api/product_test.h"

namespace ozk::tee {

namespace {

/// The right answer to a certificate request, of which the wrong ones are made. All in PEM.
struct RightChain {
  std::string leaf, root, root_key;
  std::string both() const { return leaf + root; }
};

using Change = std::function<void(X509*)>;
using Answer = std::function<std::string(const RightChain&)>;

constexpr long kRefused = -1;

/// One way in which a backend may answer, and what the library makes of it.
struct WrongChain {
  const char* name;
  Answer answer;
  long certificates;  ///< in the chain that is installed; kRefused: the installed identity stays
  long records = 0;   ///< error records about what could not be decoded
};

template <typename T>
std::shared_ptr<T> owned(T* handle, void (*release)(T*)) {
  if (handle == nullptr) throw std::runtime_error("libcrypto failed");
  return std::shared_ptr<T>(handle, release);
}

std::shared_ptr<BIO> source(const std::string& text) {
  return owned(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free_all);
}

/// The leaf, changed and signed anew.
Answer leafWith(const Change& change, const EVP_MD* digest = EVP_sha256()) {
  return [=](const RightChain& chain) {
    const auto leaf =
        owned(PEM_read_bio_X509(source(chain.leaf).get(), nullptr, nullptr, nullptr), X509_free);
    const auto key = owned(PEM_read_bio_PrivateKey(source(chain.root_key).get(), nullptr, nullptr, nullptr),
                           EVP_PKEY_free);
    change(leaf.get());
    X509_sign(leaf.get(), key.get(), digest);
    const auto written = owned(BIO_new(BIO_s_mem()), BIO_free_all);
    PEM_write_bio_X509(written.get(), leaf.get());
    char* text = nullptr;
    const long size = BIO_get_mem_data(written.get(), &text);
    return std::string(text, static_cast<std::size_t>(size)) + chain.root;
  };
}

Answer leafFor(EVP_PKEY* (*generate)()) {
  return leafWith([=](X509* leaf) { X509_set_pubkey(leaf, owned(generate(), EVP_PKEY_free).get()); });
}

/// The requested key, encoded in another way.
Answer leafKeyWith(const char* parameter, const char* value) {
  return leafWith([=](X509* leaf) {
    const auto key = owned(EVP_PKEY_dup(X509_get0_pubkey(leaf)), EVP_PKEY_free);
    EVP_PKEY_set_utf8_string_param(key.get(), parameter, value);
    X509_set_pubkey(leaf, key.get());
  });
}

Answer leafValid(const char* from, const char* to) {
  return leafWith([=](X509* leaf) {
    ASN1_TIME_set_string_X509(X509_getm_notBefore(leaf), from);
    ASN1_TIME_set_string_X509(X509_getm_notAfter(leaf), to);
  });
}

/// Without extensions, but for one.
Answer leafWithOnly(const char* name, const char* value) {
  return leafWith([=](X509* leaf) {
    while (X509_get_ext_count(leaf) > 0) X509_EXTENSION_free(X509_delete_ext(leaf, 0));
    const auto extension = owned(X509V3_EXT_nconf(nullptr, nullptr, name, value), X509_EXTENSION_free);
    X509_add_ext(leaf, extension.get(), -1);
  });
}

Answer replaced(const std::string& found, const std::string& replacement, std::size_t times = 1000) {
  return [=](const RightChain& chain) {
    std::string answer = chain.both();
    std::size_t at = answer.find(found);
    for (std::size_t i = 0; i < times && at != std::string::npos; ++i) {
      at = answer.replace(at, found.size(), replacement).find(found, at + replacement.size());
    }
    return answer;
  };
}

Answer between(const std::string& before, const std::string& behind) {
  return [=](const RightChain& chain) { return before + chain.both() + behind; };
}

Answer bytes(const std::string& answer) {
  return [=](const RightChain&) { return answer; };
}

std::string derOf(const RightChain& chain) {
  const auto leaf = Botan::PEM_Code::decode_check_label(chain.leaf, "CERTIFICATE");
  const auto root = Botan::PEM_Code::decode_check_label(chain.root, "CERTIFICATE");
  return std::string(leaf.begin(), leaf.end()) + std::string(root.begin(), root.end());
}

std::string otherLeafFirst(const RightChain& chain) {
  return leafFor([] { return EVP_EC_gen("P-256"); })(chain) + chain.both();
}

const std::string kBegin = "-----BEGIN CERTIFICATE-----\n", kEnd = "-----END CERTIFICATE-----\n";

const std::vector<WrongChain> kCases = {
    {"right", between("", ""), 2},
    // Other certificates, or another order.
    {"leaf alone", [](const auto& c) { return c.leaf; }, 1},
    {"no leaf", [](const auto& c) { return c.root; }, kRefused},
    {"leaf last", [](const auto& c) { return c.root + c.leaf; }, 2},
    {"root of others",
     [](const auto& c) { return c.leaf + CertificateAuthority("Other").root().PEM_encode(); }, 2},
    {"leaf for another key first", otherLeafFirst, 4},
    // Something is wrong with the leaf.
    {"leaf for another key", leafFor([] { return EVP_EC_gen("P-256"); }), kRefused},
    {"leaf for a P-384 key", leafFor([] { return EVP_EC_gen("P-384"); }), kRefused},
    {"leaf for an RSA key", leafFor([] { return EVP_RSA_gen(2048); }), kRefused},
    {"curve as parameters", leafKeyWith(OSSL_PKEY_PARAM_EC_ENCODING, "explicit"), 2},
    {"compressed point", leafKeyWith(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed"), 2},
    {"expired", leafValid("20200101000000Z", "20200201000000Z"), 2},
    {"not yet valid", leafValid("20980101000000Z", "20990101000000Z"), 2},
    {"without end date", leafValid("20200101000000Z", "99991231235959Z"), kRefused, 1},
    {"subject of another",
     leafWith([](X509* leaf) { X509_set_subject_name(leaf, X509_get_issuer_name(leaf)); }), 2},
    {"CA certificate as leaf", leafWithOnly("basicConstraints", "critical,CA:true"), 2},
    {"server certificate", leafWithOnly("extendedKeyUsage", "serverAuth"), 2},
    {"unknown critical extension", leafWithOnly("1.3.6.1.4.1.55555.1", "critical,DER:0500"), 2},
    {"signed over SHA-1", leafWith([](X509*) {}, EVP_sha1()), 2},
    // PEM that is written differently, or damaged.
    {"CR LF", replaced("\n", "\r\n"), 2},
    {"no line breaks between", replaced("-----\n-----", "----------"), 2},
    {"text around", between("Certificate:\n    Data:\n", "0 errors\n"), 2},
    {"byte order mark", between("\xEF\xBB\xBF", ""), 2},
    {"quoted, as in a mail", replaced("\n", "\n> "), 0, 2},
    {"other label", replaced("CERTIF", "TRUSTED CERTIF"), 0, 2},
    {"no BEGIN", replaced(kBegin, "", 1), kRefused},
    {"no END", replaced(kEnd, "", 1), 0, 1},
    {"cut in the leaf", [](const auto& c) { return c.both().substr(0, c.both().find(kEnd) - 64); }, 0},
    {"cut in the root", [](const auto& c) { return c.both().substr(0, c.both().size() - 128); }, 1},
    {"not base64", replaced(kBegin, kBegin + "*", 1), kRefused, 1},
    // No PEM, or no certificates.
    {"DER", derOf, 2},
    {"private key behind", between("", Botan::PKCS8::PEM_encode(newKey())), 2, 1},
    {"error page", bytes("<html><body><h1>502 Bad Gateway</h1></body></html>\n"), 0},
    {"line breaks as in JSON", replaced("\n", "\\n"), 0, 2},
    {"a million digits", bytes(std::string(1000000, '0')), 0, 19999},
    {"zero bytes", bytes(std::string(4096, '\0')), 0},
    {"nothing", bytes(""), 0},
};

}  // namespace

class WrongChainsTest : public ProductTest {
 protected:
  /// How many certificates are installed; unless none is, "LYR" must be the key of one of them.
  long installedCertificates() {
    const Bytes signature = product->generate_signature("LYR", {1}, "");
    std::string installed = product->get_client_cert("LYR");
    bool has_key = installed.empty();
    long count = 0;
    for (; !installed.empty(); installed.erase(0, installed.find("-----BEGIN", 1))) {
      has_key |= verifies(certifiedKey(installed), {1}, signature);
      ++count;
    }
    EXPECT_TRUE(has_key);
    return count;
  }
};

TEST_F(WrongChainsTest, AnAnswerIsInstalledWholeOrChangesNothing) {
  const LogLine undecoded = {ara::log::LogLevel::kError,
                             "ClientCertInitializer::getCertificates: failed to decode certificate"};
  for (const auto& wrong : kCases) {
    SCOPED_TRACE(wrong.name);
    provision("before");
    const std::string key = product->get_public_key("LYR"), certificates = product->get_client_cert("LYR");
    const auto chain = requestChain("after");
    const RightChain right = {chain[0].PEM_encode(), chain[1].PEM_encode(),
                              Botan::PKCS8::PEM_encode(authority.key())};
    const std::string requested = product->get_public_key("LYR_CSR");
    log.take();
    const bool refused = wrong.certificates == kRefused;
    EXPECT_EQ(install(wrong.answer(right)), refused ? ResultCode::CRYPTO_OP_ERROR : ResultCode::OK);
    const auto records = log.take();
    EXPECT_EQ(std::count(records.begin(), records.end(), undecoded), wrong.records);
    EXPECT_EQ(TokenContent::now().temporary, TokenContent().temporary);
    EXPECT_TRUE(signsWithInstalledKey());
    EXPECT_EQ(product->get_public_key("LYR"), refused ? key : requested);
    if (refused) {
      EXPECT_EQ(product->get_client_cert("LYR"), certificates);
    } else {
      EXPECT_EQ(installedCertificates(), wrong.certificates);
    }
  }
}

}  // namespace ozk::tee
