// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/data_src.h>
#include <botan/exceptn.h>

#include "api/client_cert_initializer.h"
#include "api/logging.h"

namespace ozk {
namespace tee {

std::vector<Botan::X509_Certificate> ClientCertInitializer::getCertificates(Botan::PKCS11::Session&,
                                                                            std::string pem) const {
  Botan::DataSource_Memory source(pem);
  std::vector<Botan::X509_Certificate> certificates;
  // It ends, as each attempt, successful or not, consumes at least one byte.
  while (!source.end_of_data()) {
    try {
      certificates.emplace_back(source);
    } catch (const Botan::Exception&) {
      if (!source.end_of_data()) {
        logError(m_logger, "ClientCertInitializer::getCertificates: failed to decode certificate");
      }
    }
  }
  return certificates;
}

}  // namespace tee
}  // namespace ozk
