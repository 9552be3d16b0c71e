// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>

#include "api/client_cert_initializer.h"
#include "lifecycle/destroy_object.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::AttributeContainer;
using Botan::PKCS11::ObjectFinder;
using Botan::PKCS11::PKCS11_ECDSA_PrivateKey;
using Botan::PKCS11::PKCS11_ECDSA_PublicKey;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::Session;

/// Destroys all objects that one search finds.
template <typename Wrapper>
ResultCode destroyEach(const ara::log::Logger& logger, Session& session, const AttributeContainer& sought,
                       const std::string& failure) {
  ObjectFinder finder(session, sought.attributes());
  const auto found = finder.find(kMaxFound);
  finder.finish();
  for (const auto handle : found) {
    if (destroyObject<Wrapper>(logger, session, handle, failure) != ResultCode::OK) {
      return ResultCode::CRYPTO_OP_ERROR;
    }
  }
  return ResultCode::OK;
}

}  // namespace

ResultCode ClientCertInitializer::deleteOldTemporaryKeys(Session& session) const {
  logDebug(m_logger, "ClientCertInitializer::deleteOldTemporaryKeys =>");
  ResultCode result =
      destroyEach<PKCS11_ECDSA_PrivateKey>(m_logger, session, lyrPrivateKeySearch(false),
                                           "LYR temporary private key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  result = destroyEach<PKCS11_ECDSA_PublicKey>(m_logger, session, temporaryPublicKeysSearch(),
                                               "LYR temporary public key delete fail, Exception thrown : ");
  if (result != ResultCode::OK) return result;

  const auto chain = getLYRCertificateChainHandle(session, false);
  if (chain != 0) {
    result = destroyObject<PKCS11_TSG_CertficateChain>(
        m_logger, session, chain, "LYR temporary certificate delete fail, Exception thrown : ");
  }
  if (result != ResultCode::OK) return result;

  logDebug(m_logger, "ClientCertInitializer::deleteOldTemporaryKeys return OK");
  return result;
}

}  // namespace tee
}  // namespace ozk
