// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>

#include "api/client_cert_initializer.h"
#include "lifecycle/destroy_object.h"

namespace ozk {
namespace tee {

using Botan::PKCS11::PKCS11_ECDSA_PrivateKey;
using Botan::PKCS11::PKCS11_ECDSA_PublicKey;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::Session;

ResultCode ClientCertInitializer::deleteSessionCertificateAndKeys(
    TEESession::TEESession& tee, std::vector<unsigned long>& handles,
    const PKCS11_TSG_CertficateChain* chain) const {
  Session& session = *tee.m_session;
  ResultCode result = destroyObject<PKCS11_ECDSA_PublicKey>(
      m_logger, session, handles.at(0), "LYR public session key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  result = destroyObject<PKCS11_ECDSA_PrivateKey>(m_logger, session, handles.at(1),
                                                  "LYR private session key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  return guardedDeletion(
      m_logger, "LYR session certificate delete fail, Exception thrown : ", [&] { chain->destroy(); });
}

}  // namespace tee
}  // namespace ozk
