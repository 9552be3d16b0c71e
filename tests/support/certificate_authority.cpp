// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/certificate_authority.h"

#include <botan/pkcs10.h>
#include <botan/x509self.h>

#include <chrono>

namespace test_support {

CertificateAuthority::CertificateAuthority(const std::string& name) {
  Botan::X509_Cert_Options options(name);
  options.CA_key();
  m_root = Botan::X509::create_self_signed_cert(options, m_key, "SHA-256", m_rng);
}

Botan::X509_Certificate CertificateAuthority::issue(const std::vector<std::uint8_t>& request) {
  const auto now = std::chrono::system_clock::now();
  return Botan::X509_CA(m_root, m_key, "SHA-256", m_rng)
      .sign_request(Botan::PKCS10_Request(request), m_rng, Botan::X509_Time(now),
                    Botan::X509_Time(now + std::chrono::hours(24)));
}

Botan::ECDSA_PrivateKey newKey() {
  Botan::AutoSeeded_RNG rng;
  return Botan::ECDSA_PrivateKey(rng, Botan::EC_Group("secp256r1"));
}

std::string pem(const std::vector<Botan::X509_Certificate>& certificates) {
  std::string text;
  for (const auto& certificate : certificates) text += certificate.PEM_encode();
  return text;
}

}  // namespace test_support
