// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_trust_store_group.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"
#include "services/pem.h"

namespace ozk {
namespace tee {

using Botan::PKCS11::PKCS11_TrustStoreGroup_Store;

std::string ClientCertInitializer::get_root_cert_bundle(std::string trust_store_group) {
  logDebug(m_logger, "ClientCertInitializer::get_root_cert_bundle: ==>");
  TEESession::TEESession tee(true);
  if (!tee.m_valid) return {};

  PKCS11_TrustStoreGroup_Store store(*tee.m_session, trust_store_group, kClientId);
  const auto certificates = store.GetRootCertBundle(*tee.m_session);
  logDebug(m_logger,
           "ClientCertInitializer::get_root_cert_bundle :: get_root_cert_bundle: Certificates found: " +
               std::to_string(certificates.size()));
  const std::string pem = pemOf(certificates);
  logDebug(m_logger, "ClientCertInitializer::get_root_cert_bundle: <==");
  return pem;
}

}  // namespace tee
}  // namespace ozk
