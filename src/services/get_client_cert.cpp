// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "services/pem.h"

namespace ozk {
namespace tee {

namespace {

using Botan::X509_Certificate;
using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::ReturnValue;
using Botan::PKCS11::Session;

std::vector<X509_Certificate> chainOf(Session& session, ObjectHandle handle) {
  if (handle == 0) return {};
  return PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain();
}

}  // namespace

std::string ClientCertInitializer::get_client_cert(std::string key_id) {
  TEESession::TEESession tee(true);
  if (!tee.m_valid) return {};

  Session& session = *tee.m_session;
  std::vector<ReturnValue> statuses;  // of no use to a caller, who gets what there is
  if (key_id == kLYRKeyId) return pemOf(chainOf(session, getLYRCertificateChainHandle(session, true)));
  if (key_id == kZEMPKeyId) return pemOf(getZEMPCerts(session, kZEMPCertIds, statuses));
  if (key_id == kBASEKeyId) return pemOf(getZEMPCerts(session, kBASECertIds, statuses));
  return {};
}

}  // namespace tee
}  // namespace ozk
