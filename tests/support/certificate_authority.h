// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/auto_rng.h>
#include <botan/ecdsa.h>
#include <botan/x509_ca.h>

#include <string>
#include <vector>

namespace test_support {

/// A software key on secp256r1.
Botan::ECDSA_PrivateKey newKey();

/// Certificates in PEM, back to back.
std::string pem(const std::vector<Botan::X509_Certificate>& certificates);

/// A backend that certifies requests, with a root of its own on secp256r1.
class CertificateAuthority {
 public:
  explicit CertificateAuthority(const std::string& name = "Test Root");

  const Botan::X509_Certificate& root() const { return m_root; }
  const Botan::Private_Key& key() const { return m_key; }

  /// Certifies a PKCS#10 request in DER, for a day.
  Botan::X509_Certificate issue(const std::vector<std::uint8_t>& request);

 private:
  Botan::AutoSeeded_RNG m_rng;
  Botan::ECDSA_PrivateKey m_key = newKey();
  Botan::X509_Certificate m_root;
};

}  // namespace test_support
