// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>
#include <botan/p11_x509.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"
#include "services/pem.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::X509_Certificate;
using Botan::PKCS11::ObjectFinder;
using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::PKCS11_X509_Certificate;
using Botan::PKCS11::ReturnValue;
using Botan::PKCS11::Session;

std::vector<X509_Certificate> chainOf(Session& session, ObjectHandle handle) {
  if (handle == 0) return {};
  return PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain();
}

/// Reads the certificate in the first of `found` and appends it.
ReturnValue readFirst(const ara::log::Logger& logger, Session& session,
                      const std::vector<ObjectHandle>& found, std::vector<X509_Certificate>& certificates) {
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

std::string ClientCertInitializer::get_client_cert(std::string key_id) {
  TEESession::TEESession tee(true);
  if (!tee.m_valid) return {};

  Session& session = *tee.m_session;
  std::vector<ReturnValue> statuses;  // not used: certificates that cannot be read are left out
  if (key_id == kLYRKeyId) return pemOf(chainOf(session, getLYRCertificateChainHandle(session, true)));
  if (key_id == kZEMPKeyId) return pemOf(getZEMPCerts(session, kZEMPCertIds, statuses));
  if (key_id == kBASEKeyId) return pemOf(getZEMPCerts(session, kBASECertIds, statuses));
  return {};
}

std::vector<X509_Certificate> ClientCertInitializer::getZEMPCerts(Session& session,
                                                                  const std::vector<std::string>& labels,
                                                                  std::vector<ReturnValue>& statuses) const {
  std::vector<X509_Certificate> certificates;
  for (const auto& label : labels) {
    const auto sought = certificateSearch(label);
    ObjectFinder finder(session, sought.attributes());
    const auto found = finder.find(kMaxFound);
    const ReturnValue status = readFirst(m_logger, session, found, certificates);
    finder.finish();
    statuses.push_back(status);
  }
  return certificates;
}

}  // namespace tee
}  // namespace ozk
