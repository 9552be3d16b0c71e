// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/client_cert_initializer.h"

#include <botan/version.h>

#include "api/logging.h"

namespace ozk {
namespace tee {

ClientCertInitializerAPI::~ClientCertInitializerAPI() = default;

std::shared_ptr<ClientCertInitializerAPI> ClientCertInitializerAPI::get_instance() {
  return ClientCertInitializer::getInstance();
}

ClientCertInitializer::ClientCertInitializer()
    : m_logger(ara::log::CreateLogger("CCIA", "default context of CCI API")) {
  logDebug(m_logger, "Created an instance of CCI API Lib");
  logDebug(m_logger, "Botan version: " + Botan::short_version_string());
}

}  // namespace tee
}  // namespace ozk
