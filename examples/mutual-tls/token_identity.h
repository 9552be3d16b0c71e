// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

// What Botan's TLS client needs to use the identity in the token; to copy into other programs.

#include <botan/bigint.h>
#include <botan/certstor.h>
#include <botan/credentials_manager.h>
#include <botan/data_src.h>
#include <botan/der_enc.h>
#include <botan/ecdsa.h>
#include <botan/pem.h>
#include <botan/tls_callbacks.h>
#include <botan/tls_policy.h>
#include <ozk/tee/client_cert_initializer_api.h>

#include <algorithm>
#include <stdexcept>

namespace mutual_tls {

using Api = ozk::tee::ClientCertInitializerAPI;
using Certificates = std::vector<Botan::X509_Certificate>;

inline Certificates certificates_in(const std::string& pem) {
  Certificates certificates;
  Botan::DataSource_Memory source(pem);
  while (Botan::PEM_Code::matches(source)) {
    certificates.emplace_back(source);
  }
  return certificates;
}

/// The installed private key as Botan's TLS client needs it: an object with the public key only.
class TokenKey final : public Botan::ECDSA_PublicKey, public Botan::Private_Key {
 public:
  explicit TokenKey(const Botan::ECDSA_PublicKey& half)
      : EC_PublicKey(half.algorithm_identifier(), half.public_key_bits()),
        ECDSA_PublicKey(half.algorithm_identifier(), half.public_key_bits()) {}
  Botan::secure_vector<std::uint8_t> private_key_bits() const override {
    throw std::logic_error("the private key stays in the token");
  }
};

/// The installed chain, its key, and the roots of a trust store group, with which servers are verified; read
/// once. Throws std::runtime_error when no identity is installed.
class TokenCredentials final : public Botan::Credentials_Manager {
 public:
  TokenCredentials(Api& api, const std::string& trust_store_group)
      : m_chain(certificates_in(api.get_client_cert("LYR"))) {
    if (m_chain.empty()) {
      throw std::runtime_error(
          "no client certificate is installed, or TEE_TOKEN_DIR has no token; see cci status");
    }
    const auto key = m_chain.front().load_subject_public_key();
    m_key.reset(new TokenKey(dynamic_cast<const Botan::ECDSA_PublicKey&>(*key)));
    for (const auto& root : certificates_in(api.get_root_cert_bundle(trust_store_group))) {
      m_roots.add_certificate(root);
    }
  }

  std::vector<Botan::Certificate_Store*> trusted_certificate_authorities(const std::string&,
                                                                         const std::string&) override {
    return {&m_roots};
  }
  Certificates cert_chain(const std::vector<std::string>& key_types, const std::string&,
                          const std::string&) override {
    const bool fits = std::find(key_types.begin(), key_types.end(), "ECDSA") != key_types.end();
    return fits ? m_chain : Certificates();
  }
  Botan::Private_Key* private_key_for(const Botan::X509_Certificate&, const std::string&,
                                      const std::string&) override {
    return m_key.get();
  }

 private:
  Certificates m_chain;
  std::unique_ptr<TokenKey> m_key;
  Botan::Certificate_Store_In_Memory m_roots;
};

/// Has the token sign the handshake. A derived class handles the connection's data.
class TokenCallbacks : public Botan::TLS::Callbacks {
 public:
  explicit TokenCallbacks(Api& api) : m_api(api) {}
  std::vector<std::uint8_t> tls_sign_message(const Botan::Private_Key&, Botan::RandomNumberGenerator&,
                                             const std::string& padding, Botan::Signature_Format format,
                                             const std::vector<std::uint8_t>& message) override {
    if (padding != "EMSA1(SHA-256)") {
      throw std::runtime_error("the token does not sign with " + padding);
    }
    const std::vector<std::uint8_t> signature = m_api.generate_signature("LYR", message, "");
    if (signature.empty()) {
      throw std::runtime_error("the token did not sign; the library's log has the reason");
    }
    if (format != Botan::DER_SEQUENCE) {
      return signature;
    }
    // TLS carries DER (RFC 8422, 5.4); the token returns r||s.
    const std::size_t half = signature.size() / 2;
    std::vector<std::uint8_t> der;
    Botan::DER_Encoder(der)
        .start_cons(Botan::SEQUENCE)
        .encode(Botan::BigInt(signature.data(), half))
        .encode(Botan::BigInt(signature.data() + half, half))
        .end_cons();
    return der;
  }

 private:
  Api& m_api;
};

/// TLS 1.2 with SHA-256, the hash that the token signs with.
class TokenPolicy final : public Botan::TLS::Policy {
 public:
  std::vector<Botan::TLS::Signature_Scheme> allowed_signature_schemes() const override {
    using Botan::TLS::Signature_Scheme;
    return {Signature_Scheme::ECDSA_SHA256, Signature_Scheme::RSA_PSS_SHA256,
            Signature_Scheme::RSA_PKCS1_SHA256};
  }
  // For servers whose CA publishes neither CRL nor OCSP; remove it where there is one.
  bool require_cert_revocation_info() const override { return false; }
};

}  // namespace mutual_tls
