// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::PKCS11_TSG_CertficateChain;
using Botan::PKCS11::Session;
using Botan::PKCS11::TrustStoreGroupCertificateChainProperties;
using Handles = std::vector<unsigned long>;

std::vector<std::uint8_t> backToBack(const std::vector<Botan::X509_Certificate>& certificates) {
  std::vector<std::uint8_t> value;
  for (const auto& certificate : certificates) {
    const auto der = certificate.BER_encode();
    value.insert(value.end(), der.begin(), der.end());
  }
  return value;
}

void logNumber(const ara::log::Logger& logger, const std::string& text, unsigned long number) {
  logDebug(logger, text + std::to_string(number));
}

void logEach(const ara::log::Logger& logger, const std::string& text, const Handles& handles) {
  for (const auto handle : handles) logNumber(logger, text, handle);
}

void addIfFound(Handles& handles, ObjectHandle handle) {
  if (handle != 0) handles.push_back(handle);
}

/// Returns the new chain object, or null when the token does not take it.
std::unique_ptr<PKCS11_TSG_CertficateChain> storeChain(
    const ara::log::Logger& logger, Session& session,
    const TrustStoreGroupCertificateChainProperties& chain) {
  try {
    return std::make_unique<PKCS11_TSG_CertficateChain>(session, chain);
  } catch (const Botan::Exception& error) {
    logError(logger, std::string("Exception thrown : ") + error.what());
    return nullptr;
  }
}

}  // namespace

ResultCode ClientCertInitializer::set_client_cert_and_move_key(std::string cert_chain,
                                                               std::string temp_key_id, std::string key_id) {
  TEESession::TEESession tee(true);
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key ==>");
  if (cert_chain.empty() && temp_key_id.empty() && key_id == kLYRKeyId) {
    logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key Delete LYR certificate and keys");
    return tee.m_valid ? deleteLYRCertificateAndKeys(tee) : ResultCode::CRYPTO_OP_ERROR;
  }
  if (temp_key_id != kLYRCSRKeyId || key_id != kLYRKeyId) return ResultCode::INVALID_KEY_ID;
  return tee.m_valid ? installChain(tee, cert_chain, key_id) : ResultCode::CRYPTO_OP_ERROR;
}

ResultCode ClientCertInitializer::installChain(TEESession::TEESession& tee, const std::string& cert_chain,
                                               const std::string& key_id) const {
  Session& session = *tee.m_session;
  const auto properties =
      lyrCertificateChainCreation(backToBack(getCertificates(session, cert_chain)), key_id);
  Handles added = temporaryKeyHandles(session);
  auto chain = storeChain(m_logger, session, properties);
  if (chain == nullptr) return ResultCode::TOKEN_STORE_ERROR;

  added.push_back(chain->handle());
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key after push addHandleSize = ", added.size());
  logEach(m_logger, "Handles in addHandle after push = ", added);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key chain handle = ", chain->handle());

  ResultCode result = ResultCode::OK;
  if (Botan::PKCS11::setClientCertAndMoveKey(session, installedHandles(session), added) != 0) {
    logError(m_logger, "ClientCertInitializer::set_client_cert_and_move_key returned error");
    result = ResultCode::CRYPTO_OP_ERROR;
  }
  if (deleteSessionCertificateAndKeys(tee, added, chain.get()) != ResultCode::OK) {
    logError(m_logger, "ClientCertInitializer::deleteSessionCertificateAndKeys returned error");
    result = ResultCode::CRYPTO_OP_ERROR;
  }
  chain.reset();
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key: <==");
  return result;
}

Handles ClientCertInitializer::temporaryKeyHandles(Session& session) const {
  Handles found;
  const ObjectHandle public_key = getLYRPublicKeyHandle(session, false);
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key TEMPorary PUBLIC key Handle = ", public_key);
  addIfFound(found, public_key);
  const ObjectHandle private_key = getLYRPrivateKeyHandle(session, false);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key TEMPorary PRIVATE key Handle = ",
            private_key);
  addIfFound(found, private_key);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key addHandleSize = ", found.size());
  logEach(m_logger, "Handles in addHandle = ", found);
  return found;
}

Handles ClientCertInitializer::installedHandles(Session& session) const {
  Handles found;
  const ObjectHandle public_key = getLYRPublicKeyHandle(session, true);
  addIfFound(found, public_key);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key PUBLIC key Handle = ", public_key);
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key Before getLYRPrivateKeyHandle");
  const ObjectHandle private_key = getLYRPrivateKeyHandle(session, true);
  addIfFound(found, private_key);
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key PRIVATE key Handle = ", private_key);
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key After  getLYRPrivateKeyHandle");
  addIfFound(found, getLYRCertificateChainHandle(session, true));
  return found;
}

}  // namespace tee
}  // namespace ozk
