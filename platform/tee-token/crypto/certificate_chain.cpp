// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/certificate_chain.h"

namespace tee_token {

bool chain_carries(const Bytes& chain, const EcPublicKey& key) {
  bool carries = false;
  const std::uint8_t* next = chain.data();
  const std::uint8_t* const end = chain.data() + chain.size();
  while (next != end) {
    const X509Certificate certificate(d2i_X509(nullptr, &next, end - next));
    if (certificate == nullptr) {
      return false;
    }
    const EVP_PKEY* const carried = X509_get0_pubkey(certificate.get());
    carries = carries || (carried != nullptr && key.equals(carried));
  }
  return carries;
}

}  // namespace tee_token
