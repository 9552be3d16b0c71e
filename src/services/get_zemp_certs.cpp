// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>
#include <botan/p11_x509.h>

#include "api/client_cert_initializer.h"
#include "api/logging.h"
#include "tee/search.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::X509_Certificate;
using Botan::PKCS11::PKCS11_X509_Certificate;
using Botan::PKCS11::ReturnValue;
using Botan::PKCS11::Session;

/// Appends the certificate of the first of `found`.
ReturnValue readFirst(const ara::log::Logger& logger, Session& session, const ObjectHandles& found,
                      std::vector<X509_Certificate>& certificates) {
  if (found.empty()) return ReturnValue::FunctionFailed;
  try {
    certificates.push_back(PKCS11_X509_Certificate(session, found.front()));
    return ReturnValue::OK;
  } catch (const Botan::Exception& error) {
    logError(logger, std::string("Exception thrown : ") + error.what());
    return ReturnValue::DataInvalid;
  }
}

}  // namespace

std::vector<X509_Certificate> ClientCertInitializer::getZEMPCerts(Session& session,
                                                                  const std::vector<std::string>& labels,
                                                                  std::vector<ReturnValue>& statuses) const {
  std::vector<X509_Certificate> certificates;
  for (const auto& label : labels) {
    ReturnValue status = ReturnValue::OK;
    search(session, certificateSearch(label),
           [&](const ObjectHandles& found) { status = readFirst(m_logger, session, found, certificates); });
    statuses.push_back(status);
  }
  return certificates;
}

}  // namespace tee
}  // namespace ozk
