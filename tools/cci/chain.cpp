// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain.h"

#include <botan/pem.h>
#include <botan/x509_dn.h>

#include <utility>

#include "shared/shown_text.h"

namespace cci {

using shown_text::counted;

std::string pem_of(const Certificates& certificates) {
  std::string pem;
  for (const auto& certificate : certificates) pem += certificate.PEM_encode();
  return pem;
}

Certificates certificates_of(const std::string& pem) {
  if (pem.empty()) return {};
  return read_chain({"the token's answer", pem, Exit::kTokenFailed, Exit::kTokenFailed});
}

Certificates read_chain(const ChainText& chain) {
  tools::FoundCertificates found = tools::find_certificates(chain.text);
  if (found.certificates.empty()) {
    throw Failure(chain.unreadable,
                  chain.name + (chain.text.empty() ? " is empty" : " holds no certificate") +
                      "; expected are certificates in PEM, the client's first" + chain.hint);
  }
  if (found.unreadable > 0) {
    throw Failure(chain.unreadable,
                  chain.name + " has " + counted(found.certificates.size(), "certificate") + " and " +
                      counted(found.unreadable, "part") +
                      " that cannot be read as one; expected are certificates in PEM, whole "
                      "and nothing else");
  }
  return std::move(found.certificates);
}

void require_leaf_of(const ChainText& chain, const Certificates& certificates, const std::string& key) {
  const auto wanted = Botan::unlock(Botan::PEM_Code::decode_check_label(key, "PUBLIC KEY"));
  for (std::size_t i = 0; i < certificates.size(); ++i) {
    if (certificates[i].subject_public_key_info() != wanted) continue;
    if (i == 0) return;
    throw Failure(chain.unfit, chain.name + ": certificate " + std::to_string(i + 1) +
                                   " is the client's; it must be the first");
  }
  throw Failure(chain.unfit, chain.name + " has no certificate for the pending key pair; the first of " +
                                 std::to_string(certificates.size()) + " is " +
                                 certificates.front().subject_dn().to_string() + chain.hint);
}

}  // namespace cci
