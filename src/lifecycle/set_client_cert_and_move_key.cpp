// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/data_src.h>
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

std::vector<std::uint8_t> derOf(const std::vector<Botan::X509_Certificate>& certificates) {
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

void logEach(const ara::log::Logger& logger, const std::string& text,
             const std::vector<unsigned long>& handles) {
  for (const auto handle : handles) logNumber(logger, text, handle);
}

void appendIfFound(std::vector<unsigned long>& handles, ObjectHandle handle) {
  if (handle != 0) handles.push_back(handle);
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
  TrustStoreGroupCertificateChainProperties properties(derOf(getCertificates(session, cert_chain)));
  addLYRCertificateChainAttributes(properties, key_id);

  std::vector<unsigned long> addHandle = temporaryKeyHandles(session);
  std::unique_ptr<PKCS11_TSG_CertficateChain> chain;
  try {
    chain = std::make_unique<PKCS11_TSG_CertficateChain>(session, properties);
  } catch (const Botan::Exception& error) {
    logError(m_logger, std::string("Exception thrown : ") + error.what());
    return ResultCode::TOKEN_STORE_ERROR;
  }
  addHandle.push_back(chain->handle());
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key after push addHandleSize = ",
            addHandle.size());
  logEach(m_logger, "Handles in addHandle after push = ", addHandle);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key chain handle = ", chain->handle());

  const std::vector<unsigned long> installedHandle = installedHandles(session);
  ResultCode result = ResultCode::OK;
  if (Botan::PKCS11::setClientCertAndMoveKey(session, installedHandle, addHandle) != 0) {
    logError(m_logger, "ClientCertInitializer::set_client_cert_and_move_key returned error");
    result = ResultCode::CRYPTO_OP_ERROR;
  }
  if (deleteSessionCertificateAndKeys(tee, addHandle, chain.get()) != ResultCode::OK) {
    logError(m_logger, "ClientCertInitializer::deleteSessionCertificateAndKeys returned error");
    result = ResultCode::CRYPTO_OP_ERROR;
  }
  chain.reset();
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key: <==");
  return result;
}

std::vector<Botan::X509_Certificate> ClientCertInitializer::getCertificates(Session&, std::string pem) const {
  Botan::DataSource_Memory source(pem);
  std::vector<Botan::X509_Certificate> certificates;
  // The loop ends: each attempt, successful or not, consumes at least one byte.
  while (!source.end_of_data()) {
    try {
      certificates.emplace_back(source);
    } catch (const Botan::Exception&) {
      if (!source.end_of_data()) {
        logError(m_logger, "ClientCertInitializer::getCertificates: failed to decode certificate");
      }
    }
  }
  return certificates;
}

std::vector<unsigned long> ClientCertInitializer::temporaryKeyHandles(Session& session) const {
  std::vector<unsigned long> addHandle;
  const ObjectHandle public_key = getLYRPublicKeyHandle(session, false);
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key TEMPorary PUBLIC key Handle = ", public_key);
  appendIfFound(addHandle, public_key);
  const ObjectHandle private_key = getLYRPrivateKeyHandle(session, false);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key TEMPorary PRIVATE key Handle = ",
            private_key);
  appendIfFound(addHandle, private_key);
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key addHandleSize = ", addHandle.size());
  logEach(m_logger, "Handles in addHandle = ", addHandle);
  return addHandle;
}

std::vector<unsigned long> ClientCertInitializer::installedHandles(Session& session) const {
  std::vector<unsigned long> installedHandle;
  const ObjectHandle public_key = getLYRPublicKeyHandle(session, true);
  appendIfFound(installedHandle, public_key);
  logNumber(m_logger, "ClientCertInitializer::set_client_cert_and_move_key PUBLIC key Handle = ", public_key);
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key Before getLYRPrivateKeyHandle");
  const ObjectHandle private_key = getLYRPrivateKeyHandle(session, true);
  appendIfFound(installedHandle, private_key);
  logNumber(m_logger,
            "ClientCertInitializer::set_client_cert_and_move_key PRIVATE key Handle = ", private_key);
  logDebug(m_logger, "ClientCertInitializer::set_client_cert_and_move_key After  getLYRPrivateKeyHandle");
  appendIfFound(installedHandle, getLYRCertificateChainHandle(session, true));
  return installedHandle;
}

}  // namespace tee
}  // namespace ozk
