// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "services/pem.h"

#include <botan/pem.h>

namespace ozk {
namespace tee {

std::string pemOf(const std::vector<Botan::X509_Certificate>& certificates) {
  std::string pem;
  for (const auto& certificate : certificates) {
    pem += Botan::PEM_Code::encode(certificate.BER_encode(), "CERTIFICATE", 64);
  }
  return pem;
}

}  // namespace tee
}  // namespace ozk
