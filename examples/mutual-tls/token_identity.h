// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/certstor.h>
#include <botan/credentials_manager.h>
#include <botan/ecdsa.h>
#include <botan/tls_callbacks.h>
#include <botan/tls_policy.h>
#include <ozk/tee/client_cert_initializer_api.h>

namespace mutual_tls {

using Api = ozk::tee::ClientCertInitializerAPI;

/// The installed private key, as far as TLS needs one: its public half. What it signs, the token signs.
class TokenKey final : public Botan::ECDSA_PublicKey, public Botan::Private_Key {
 public:
  explicit TokenKey(const Botan::ECDSA_PublicKey& half)
      : EC_PublicKey(half.algorithm_identifier(), half.public_key_bits()),
        ECDSA_PublicKey(half.algorithm_identifier(), half.public_key_bits()) {}
  Botan::secure_vector<std::uint8_t> private_key_bits() const override;
};

/// What a connection needs of the token, read once: the installed chain, its key, and the roots of a trust
/// store group to check servers by. Throws std::runtime_error when no identity is installed.
class TokenCredentials final : public Botan::Credentials_Manager {
 public:
  TokenCredentials(Api& api, const std::string& trust_store_group);

  std::vector<Botan::Certificate_Store*> trusted_certificate_authorities(const std::string& type,
                                                                         const std::string& host) override;
  std::vector<Botan::X509_Certificate> cert_chain(const std::vector<std::string>& key_types,
                                                  const std::string& type, const std::string& host) override;
  Botan::Private_Key* private_key_for(const Botan::X509_Certificate& certificate, const std::string& type,
                                      const std::string& host) override;

 private:
  std::vector<Botan::X509_Certificate> m_chain;
  std::unique_ptr<TokenKey> m_key;
  Botan::Certificate_Store_In_Memory m_roots;
};

/// Lets the token sign the handshake. A connection adds what it does with its data.
class TokenCallbacks : public Botan::TLS::Callbacks {
 public:
  explicit TokenCallbacks(Api& api) : m_api(api) {}
  std::vector<std::uint8_t> tls_sign_message(const Botan::Private_Key& key, Botan::RandomNumberGenerator& rng,
                                             const std::string& padding, Botan::Signature_Format format,
                                             const std::vector<std::uint8_t>& message) override;

 private:
  Api& m_api;
};

/// TLS 1.2 with the one hash that the token signs with, SHA-256.
class TokenPolicy final : public Botan::TLS::Policy {
 public:
  std::vector<Botan::TLS::Signature_Scheme> allowed_signature_schemes() const override;
  // For servers whose CA publishes neither CRL nor OCSP. Drop it where there is one.
  bool require_cert_revocation_info() const override { return false; }
};

}  // namespace mutual_tls
