// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/wrong_chains.h"

#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

#include "support/certificate_authority.h"

namespace test_support {

namespace {

using Change = std::function<void(X509*)>;
using Chain = RightChain;
using Answer = std::function<std::string(const Chain&)>;

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("libcrypto failed");
}

template <typename T>
std::shared_ptr<T> owned(T* handle, void (*release)(T*)) {
  require(handle != nullptr);
  return std::shared_ptr<T>(handle, release);
}

template <typename T, typename Bytes>
std::shared_ptr<T> decoded(const Bytes& der, T* (*decode)(T**, const unsigned char**, long),
                           void (*release)(T*)) {
  const unsigned char* start = der.data();
  return owned(decode(nullptr, &start, static_cast<long>(der.size())), release);
}

EVP_PKEY* p256Key() { return EVP_EC_gen("P-256"); }

std::string text(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }
std::string pem(const Chain& chain) { return chain.leaf.PEM_encode() + chain.root.PEM_encode(); }

/// The leaf in DER, changed and signed anew.
std::vector<std::uint8_t> changedLeaf(const Chain& chain, const Change& change, const EVP_MD* digest) {
  const auto leaf = decoded(chain.leaf.BER_encode(), d2i_X509, X509_free);
  const auto key = decoded(Botan::PKCS8::BER_encode(chain.root_key), d2i_AutoPrivateKey, EVP_PKEY_free);
  change(leaf.get());
  require(X509_sign(leaf.get(), key.get(), digest) > 0);
  std::vector<std::uint8_t> der(static_cast<std::size_t>(i2d_X509(leaf.get(), nullptr)));
  unsigned char* start = der.data();
  i2d_X509(leaf.get(), &start);
  return der;
}

Answer leafWith(const Change& change, const EVP_MD* digest = EVP_sha256()) {
  return [=](const Chain& chain) {
    return Botan::PEM_Code::encode(changedLeaf(chain, change, digest), "CERTIFICATE") +
           chain.root.PEM_encode();
  };
}

Answer leafFor(EVP_PKEY* (*generate)()) {
  return leafWith(
      [=](X509* leaf) { require(X509_set_pubkey(leaf, owned(generate(), EVP_PKEY_free).get()) == 1); });
}

/// The requested key, encoded in another way.
Answer leafKeyWith(const char* parameter, const char* value) {
  return leafWith([=](X509* leaf) {
    const auto key = owned(EVP_PKEY_dup(X509_get0_pubkey(leaf)), EVP_PKEY_free);
    require(EVP_PKEY_set_utf8_string_param(key.get(), parameter, value) == 1 &&
            X509_set_pubkey(leaf, key.get()) == 1);
  });
}

Answer leafValid(const char* from, const char* to) {
  return leafWith([=](X509* leaf) {
    require(ASN1_TIME_set_string_X509(X509_getm_notBefore(leaf), from) == 1 &&
            ASN1_TIME_set_string_X509(X509_getm_notAfter(leaf), to) == 1);
  });
}

/// Without extensions, but for one.
Answer leafWithOnly(const char* name, const char* value) {
  return leafWith([=](X509* leaf) {
    while (X509_get_ext_count(leaf) > 0) X509_EXTENSION_free(X509_delete_ext(leaf, 0));
    const auto extension = owned(X509V3_EXT_nconf(nullptr, nullptr, name, value), X509_EXTENSION_free);
    require(X509_add_ext(leaf, extension.get(), -1) == 1);
  });
}

Answer replaced(const std::string& found, const std::string& replacement, std::size_t times = 1000) {
  return [=](const Chain& chain) {
    std::string answer = pem(chain);
    std::size_t at = answer.find(found);
    for (std::size_t i = 0; i < times && at != std::string::npos; ++i) {
      at = answer.replace(at, found.size(), replacement).find(found, at + replacement.size());
    }
    return answer;
  };
}

Answer bytes(const std::string& answer) {
  return [=](const Chain&) { return answer; };
}

std::string withOtherRoot(const Chain& chain) {
  return chain.leaf.PEM_encode() + CertificateAuthority("Other").root().PEM_encode();
}
std::string withPrivateKey(const Chain& chain) { return pem(chain) + Botan::PKCS8::PEM_encode(newKey()); }

WrongChain installed(const char* name, std::size_t certificates, const Answer& answer,
                     std::size_t records = 0) {
  return {name, answer, true, certificates, records};
}
WrongChain refused(const char* name, const Answer& answer, std::size_t records = 0) {
  return {name, answer, false, 0, records};
}

const std::string kBegin = "-----BEGIN CERTIFICATE-----\n", kEnd = "-----END CERTIFICATE-----\n";

const std::vector<WrongChain> kCases = {
    installed("right", 2, pem),
    // Other certificates, or another order.
    installed("leaf alone", 1, [](const Chain& c) { return c.leaf.PEM_encode(); }),
    refused("no leaf", [](const Chain& c) { return c.root.PEM_encode(); }),
    installed("leaf last", 2, [](const Chain& c) { return c.root.PEM_encode() + c.leaf.PEM_encode(); }),
    installed("root of others", 2, withOtherRoot),
    installed("leaf for another key first", 4, [](const Chain& c) { return leafFor(p256Key)(c) + pem(c); }),
    // Something is wrong with the leaf.
    refused("leaf for another key", leafFor(p256Key)),
    refused("leaf for a P-384 key", leafFor([] { return EVP_EC_gen("P-384"); })),
    refused("leaf for an RSA key", leafFor([] { return EVP_RSA_gen(2048); })),
    installed("curve as parameters", 2, leafKeyWith(OSSL_PKEY_PARAM_EC_ENCODING, "explicit")),
    installed("compressed point", 2, leafKeyWith(OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed")),
    installed("expired", 2, leafValid("20200101000000Z", "20200201000000Z")),
    installed("not yet valid", 2, leafValid("20980101000000Z", "20990101000000Z")),
    refused("without end date", leafValid("20200101000000Z", "99991231235959Z"), 1),
    installed("subject of another", 2,
              leafWith([](X509* leaf) { X509_set_subject_name(leaf, X509_get_issuer_name(leaf)); })),
    installed("CA certificate as leaf", 2, leafWithOnly("basicConstraints", "critical,CA:true")),
    installed("server certificate", 2, leafWithOnly("extendedKeyUsage", "serverAuth")),
    installed("unknown critical extension", 2, leafWithOnly("1.3.6.1.4.1.55555.1", "critical,DER:0500")),
    installed("signed over SHA-1", 2, leafWith([](X509*) {}, EVP_sha1())),
    // PEM that is written differently, or damaged.
    installed("CR LF", 2, replaced("\n", "\r\n")),
    installed("no line breaks between", 2, replaced("-----\n-----", "----------")),
    installed("text around", 2,
              [](const Chain& c) { return "Certificate:\n    Data:\n" + pem(c) + "0 errors\n"; }),
    installed("byte order mark", 2, [](const Chain& c) { return "\xEF\xBB\xBF" + pem(c); }),
    installed("quoted, as in a mail", 0, replaced("\n", "\n> "), 2),
    installed("other label", 0, replaced("CERTIF", "TRUSTED CERTIF"), 2),
    refused("no BEGIN", replaced(kBegin, "", 1)),
    installed("no END", 0, replaced(kEnd, "", 1), 1),
    installed("cut in the leaf", 0, [](const Chain& c) { return pem(c).substr(0, pem(c).find(kEnd) - 64); }),
    installed("cut in the root", 1, [](const Chain& c) { return pem(c).substr(0, pem(c).size() - 128); }),
    refused("not base64", replaced(kBegin, kBegin + "*", 1), 1),
    // No PEM, or no certificates.
    installed("DER", 2, [](const Chain& c) { return text(c.leaf.BER_encode()) + text(c.root.BER_encode()); }),
    installed("private key behind", 2, withPrivateKey, 1),
    installed("error page", 0, bytes("<html><body><h1>502 Bad Gateway</h1></body></html>\n")),
    installed("line breaks as in JSON", 0, replaced("\n", "\\n"), 2),
    installed("a million digits", 0, bytes(std::string(1000000, '0')), 19999),
    installed("zero bytes", 0, bytes(std::string(4096, '\0'))),
    installed("nothing", 0, bytes("")),
};

}  // namespace

const std::vector<WrongChain>& wrongChains() { return kCases; }

}  // namespace test_support
