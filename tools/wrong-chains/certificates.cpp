// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "certificates.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/x509v3.h>

namespace wrong_chains {
namespace {

void set_random_serial(X509* certificate) {
  constexpr int kBits = 127;  // 16 bytes, never negative
  const auto number = owned(BN_new(), BN_free, "a serial number");
  require(BN_rand(number.get(), kBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
              BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
          "a serial number");
}

Certificate draft(EVP_PKEY* key, int days) {
  Certificate certificate = owned(X509_new(), X509_free, "a certificate");
  require(X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
              X509_set_pubkey(certificate.get(), key) == 1,
          "a certificate");
  set_random_serial(certificate.get());
  set_days(certificate.get(), -1, days);
  return certificate;
}

}  // namespace

Key new_key() { return owned(EVP_EC_gen("P-256"), EVP_PKEY_free, "a key pair"); }

Authority make_root(const std::string& name) {
  const Key key = new_key();
  return {certify_authority(name, key, nullptr), key};
}

Authority make_intermediate(const std::string& name, const Authority& issuer) {
  const Key key = new_key();
  return {certify_authority(name, key, &issuer), key};
}

Certificate certify_authority(const std::string& name, const Key& key, const Authority* issuer) {
  constexpr int kTenYears = 3650;
  Certificate certificate = draft(key.get(), kTenYears);
  set_common_name(certificate.get(), name);
  X509* const signer = issuer != nullptr ? issuer->certificate.get() : certificate.get();
  require(X509_set_issuer_name(certificate.get(), X509_get_subject_name(signer)) == 1, "a certificate");
  add_extension(certificate.get(), "basicConstraints", "critical,CA:true");
  add_extension(certificate.get(), "keyUsage", "critical,keyCertSign,cRLSign");
  add_extension(certificate.get(), "subjectKeyIdentifier", "hash");
  if (issuer != nullptr) {
    add_extension(certificate.get(), "authorityKeyIdentifier", "keyid", signer);
  }
  sign(certificate.get(), issuer != nullptr ? issuer->key.get() : key.get());
  return certificate;
}

Certificate certify_client(const X509_NAME* name, EVP_PKEY* key, const Authority& issuer,
                           const Change& change) {
  constexpr int kOneYear = 365;
  X509* const signer = issuer.certificate.get();
  Certificate certificate = draft(key, kOneYear);
  require(X509_set_subject_name(certificate.get(), name) == 1 &&
              X509_set_issuer_name(certificate.get(), X509_get_subject_name(signer)) == 1,
          "a certificate");
  add_extension(certificate.get(), "basicConstraints", "critical,CA:false");
  add_extension(certificate.get(), "keyUsage", "critical,digitalSignature");
  add_extension(certificate.get(), "extendedKeyUsage", "clientAuth");
  add_extension(certificate.get(), "authorityKeyIdentifier", "keyid", signer);
  if (change) {
    change(certificate.get());
  }
  sign(certificate.get(), issuer.key.get());
  return certificate;
}

void sign(X509* certificate, EVP_PKEY* key, const EVP_MD* digest) {
  constexpr int kCommonLength = 71;  // of one in two signatures
  const ASN1_BIT_STRING* signature = nullptr;
  do {
    require(X509_sign(certificate, key, digest) > 0, "signing a certificate");
    X509_get0_signature(&signature, nullptr, certificate);
  } while (ASN1_STRING_length(signature) != kCommonLength);
}

void set_days(X509* certificate, int from, int to) {
  require(X509_time_adj_ex(X509_getm_notBefore(certificate), from, 0, nullptr) != nullptr &&
              X509_time_adj_ex(X509_getm_notAfter(certificate), to, 0, nullptr) != nullptr,
          "a validity");
}

void add_extension(X509* certificate, const char* name, const char* value, X509* issuer) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const auto extension = owned(X509V3_EXT_nconf(nullptr, &context, name, value), X509_EXTENSION_free, name);
  require(X509_add_ext(certificate, extension.get(), -1) == 1, name);
}

void set_common_name(X509* certificate, const std::string& name) {
  const auto subject = owned(X509_NAME_new(), X509_NAME_free, "a name");
  const auto* const text = reinterpret_cast<const unsigned char*>(name.c_str());
  require(X509_NAME_add_entry_by_txt(subject.get(), "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1 &&
              X509_set_subject_name(certificate, subject.get()) == 1,
          "a name");
}

}  // namespace wrong_chains
