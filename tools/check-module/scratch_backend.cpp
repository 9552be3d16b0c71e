// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "scratch_backend.h"

#include <botan/ec_group.h>
#include <botan/pkcs10.h>
#include <botan/x509self.h>

#include <chrono>

namespace tee_token_admin {
namespace {

Botan::X509_Cert_Options named(const char* common_name) {
  Botan::X509_Cert_Options options;
  options.common_name = common_name;
  return options;
}

Botan::X509_Certificate self_signed(const Botan::Private_Key& key, Botan::RandomNumberGenerator& rng) {
  Botan::X509_Cert_Options options = named("check-module root");
  options.CA_key();
  return Botan::X509::create_self_signed_cert(options, key, "SHA-256", rng);
}

}  // namespace

ScratchBackend::ScratchBackend()
    : m_key(m_rng, Botan::EC_Group("secp256r1")),
      m_root(self_signed(m_key, m_rng)),
      m_authority(m_root, m_key, "SHA-256", m_rng) {}

Botan::X509_Certificate ScratchBackend::certify(const Botan::Private_Key& key) {
  const Botan::PKCS10_Request request =
      Botan::X509::create_cert_req(named("check-module device"), key, "SHA-256", m_rng);
  const auto now = std::chrono::system_clock::now();
  return m_authority.sign_request(request, m_rng, Botan::X509_Time(now),
                                  Botan::X509_Time(now + std::chrono::hours(24)));
}

Botan::X509_Certificate ScratchBackend::certify_another_key() {
  return certify(Botan::ECDSA_PrivateKey(m_rng, Botan::EC_Group("secp256r1")));
}

std::vector<std::uint8_t> ScratchBackend::chain_of(const Botan::X509_Certificate& certificate) const {
  std::vector<std::uint8_t> chain = certificate.BER_encode();
  const std::vector<std::uint8_t> root = m_root.BER_encode();
  chain.insert(chain.end(), root.begin(), root.end());
  return chain;
}

}  // namespace tee_token_admin
