// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>

#include "api/client_cert_initializer.h"
#include "lifecycle/destroy_object.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::PKCS11_ECDSA_PrivateKey;
using Botan::PKCS11::PKCS11_ECDSA_PublicKey;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::Session;

/// A missing object (handle 0) is no error.
template <typename Wrapper>
ResultCode destroyIfFound(const ara::log::Logger& logger, Session& session, ObjectHandle handle,
                          const std::string& failure) {
  return handle == 0 ? ResultCode::OK : destroyObject<Wrapper>(logger, session, handle, failure);
}

}  // namespace

ResultCode ClientCertInitializer::deleteLYRCertificateAndKeys(TEESession::TEESession& tee) const {
  Session& session = *tee.m_session;
  ResultCode result =
      destroyIfFound<PKCS11_ECDSA_PublicKey>(m_logger, session, getLYRPublicKeyHandle(session, true),
                                             "LYR public key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  result = destroyIfFound<PKCS11_ECDSA_PrivateKey>(m_logger, session, getLYRPrivateKeyHandle(session, true),
                                                   "LYR private key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  return destroyIfFound<PKCS11_TSG_CertficateChain>(m_logger, session,
                                                    getLYRCertificateChainHandle(session, true),
                                                    "LYR certificate delete fail, Exception thrown : ");
}

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
