// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/auto_rng.h>
#include <botan/ecdsa.h>
#include <botan/pkcs10.h>
#include <botan/x509_ca.h>
#include <botan/x509self.h>

#include <chrono>
#include <string>
#include <vector>

namespace test_support {

inline Botan::ECDSA_PrivateKey newKey() {
  Botan::AutoSeeded_RNG rng;
  return Botan::ECDSA_PrivateKey(rng, Botan::EC_Group("secp256r1"));
}

inline std::string pem(const std::vector<Botan::X509_Certificate>& certificates) {
  std::string text;
  for (const auto& certificate : certificates) text += certificate.PEM_encode();
  return text;
}

/// A backend that certifies requests, with a root of its own on secp256r1.
class CertificateAuthority {
 public:
  explicit CertificateAuthority(const std::string& name = "Test Root") {
    Botan::X509_Cert_Options options(name);
    options.CA_key();
    m_root = Botan::X509::create_self_signed_cert(options, m_key, "SHA-256", m_rng);
  }

  const Botan::X509_Certificate& root() const { return m_root; }

  /// Certifies a PKCS#10 request in DER, for a day.
  Botan::X509_Certificate issue(const std::vector<std::uint8_t>& request) {
    const auto now = std::chrono::system_clock::now();
    const Botan::X509_Time from(now), to(now + std::chrono::hours(24));
    return Botan::X509_CA(m_root, m_key, "SHA-256", m_rng)
        .sign_request(Botan::PKCS10_Request(request), m_rng, from, to);
  }

 private:
  Botan::AutoSeeded_RNG m_rng;
  Botan::ECDSA_PrivateKey m_key = newKey();
  Botan::X509_Certificate m_root;
};

}  // namespace test_support
