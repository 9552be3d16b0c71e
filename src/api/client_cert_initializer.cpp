// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/client_cert_initializer.h"

#include <botan/version.h>

#include "api/key_ids.h"
#include "api/logging.h"

namespace ozk {
namespace tee {

const std::vector<std::string> kZEMPCertIds = {"1_13", "1_12"};
const std::vector<std::string> kBASECertIds = {"1_11", "1_15", "1_14"};

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
