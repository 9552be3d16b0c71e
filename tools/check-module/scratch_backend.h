// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/auto_rng.h>
#include <botan/ecdsa.h>
#include <botan/x509_ca.h>
#include <botan/x509cert.h>

#include <vector>

namespace tee_token_admin {

/// A certification authority as a backend has it, made anew for each trial.
class ScratchBackend {
 public:
  ScratchBackend();

  const Botan::X509_Certificate& root() const { return m_root; }

  /// The certificate for what a request of the key asks for. The key signs the request, and that is verified.
  Botan::X509_Certificate certify(const Botan::Private_Key& key);

  /// The same for a software key of its own.
  Botan::X509_Certificate certify_another_key();

  /// The certificate and the root, DER, back to back.
  std::vector<std::uint8_t> chain_of(const Botan::X509_Certificate& certificate) const;

 private:
  Botan::AutoSeeded_RNG m_rng;
  Botan::ECDSA_PrivateKey m_key;
  Botan::X509_Certificate m_root;
  Botan::X509_CA m_authority;
};

}  // namespace tee_token_admin
