// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_identity.h"

#include <botan/bigint.h>
#include <botan/data_src.h>
#include <botan/der_enc.h>
#include <botan/pem.h>

#include <algorithm>
#include <stdexcept>

namespace mutual_tls {
namespace {

std::vector<Botan::X509_Certificate> certificates_in(const std::string& pem) {
  std::vector<Botan::X509_Certificate> certificates;
  Botan::DataSource_Memory source(pem);
  while (Botan::PEM_Code::matches(source)) {
    certificates.emplace_back(source);
  }
  return certificates;
}

// TLS carries DER (RFC 8422, 5.4), the token gives r||s.
std::vector<std::uint8_t> der_of(const std::vector<std::uint8_t>& signature) {
  const std::size_t half = signature.size() / 2;
  std::vector<std::uint8_t> der;
  Botan::DER_Encoder(der)
      .start_cons(Botan::SEQUENCE)
      .encode(Botan::BigInt(signature.data(), half))
      .encode(Botan::BigInt(signature.data() + half, half))
      .end_cons();
  return der;
}

}  // namespace

Botan::secure_vector<std::uint8_t> TokenKey::private_key_bits() const {
  throw std::logic_error("the private key stays in the token");
}

TokenCredentials::TokenCredentials(Api& api, const std::string& trust_store_group)
    : m_chain(certificates_in(api.get_client_cert("LYR"))) {
  if (m_chain.empty()) {
    throw std::runtime_error(
        "no client certificate is installed, or TEE_TOKEN_DIR has no token; see cci status");
  }
  const auto key = m_chain.front().load_subject_public_key();
  m_key.reset(new TokenKey(dynamic_cast<const Botan::ECDSA_PublicKey&>(*key)));
  for (const Botan::X509_Certificate& root : certificates_in(api.get_root_cert_bundle(trust_store_group))) {
    m_roots.add_certificate(root);
  }
}

std::vector<Botan::Certificate_Store*> TokenCredentials::trusted_certificate_authorities(const std::string&,
                                                                                         const std::string&) {
  return {&m_roots};
}

std::vector<Botan::X509_Certificate> TokenCredentials::cert_chain(const std::vector<std::string>& key_types,
                                                                  const std::string&, const std::string&) {
  const bool fits = std::find(key_types.begin(), key_types.end(), "ECDSA") != key_types.end();
  return fits ? m_chain : std::vector<Botan::X509_Certificate>();
}

Botan::Private_Key* TokenCredentials::private_key_for(const Botan::X509_Certificate&, const std::string&,
                                                      const std::string&) {
  return m_key.get();
}

std::vector<std::uint8_t> TokenCallbacks::tls_sign_message(const Botan::Private_Key&,
                                                           Botan::RandomNumberGenerator&,
                                                           const std::string& padding,
                                                           Botan::Signature_Format format,
                                                           const std::vector<std::uint8_t>& message) {
  if (padding != "EMSA1(SHA-256)") {
    throw std::runtime_error("the token does not sign with " + padding);
  }
  const std::vector<std::uint8_t> signature = m_api.generate_signature("LYR", message, "");
  if (signature.empty()) {
    throw std::runtime_error("the token did not sign; its log says why");
  }
  return format == Botan::DER_SEQUENCE ? der_of(signature) : signature;
}

std::vector<Botan::TLS::Signature_Scheme> TokenPolicy::allowed_signature_schemes() const {
  using Botan::TLS::Signature_Scheme;
  return {Signature_Scheme::ECDSA_SHA256, Signature_Scheme::RSA_PSS_SHA256,
          Signature_Scheme::RSA_PKCS1_SHA256};
}

}  // namespace mutual_tls
