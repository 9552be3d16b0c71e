// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/pem.h>
#include <botan/x509cert.h>

#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// Returns the certificates in PEM (RFC 7468, 64 characters a line), back to back; empty for none.
inline std::string pemOf(const std::vector<Botan::X509_Certificate>& certificates) {
  std::string pem;
  for (const auto& certificate : certificates) {
    pem += Botan::PEM_Code::encode(certificate.BER_encode(), "CERTIFICATE", 64);
  }
  return pem;
}

}  // namespace tee
}  // namespace ozk
