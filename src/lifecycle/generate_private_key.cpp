// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>
#include <botan/p11_ecdsa.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::EC_PrivateKeyGenerationProperties;
using Botan::PKCS11::EC_PublicKeyGenerationProperties;
using Botan::PKCS11::Session;

/// Returns whether the token has reported both keys.
bool generateKeyPair(Session& session, const EC_PublicKeyGenerationProperties& public_key,
                     const EC_PrivateKeyGenerationProperties& private_key) {
  const auto pair = Botan::PKCS11::generate_ecdsa_keypair(session, public_key, private_key);
  return pair.first.handle() != 0 && pair.second.handle() != 0;
}

}  // namespace

ResultCode ClientCertInitializer::generate_private_key(std::string key_id) {
  TEESession::TEESession tee(true);
  logDebug(m_logger, "ClientCertInitializer::generate_private_key");
  if (key_id != kLYRCSRKeyId) {
    logError(m_logger, "ClientCertInitializer::generate_private_key :: Invalid Key Id");
    return ResultCode::INVALID_KEY_ID;
  }
  if (!tee.m_valid) return ResultCode::CRYPTO_OP_ERROR;

  // When this fails, it has logged an error; the generation goes on.
  if (deleteOldTemporaryKeys(*tee.m_session) == ResultCode::OK) {
    logDebug(m_logger, "ClientCertInitializer::generate_private_key succesfully deleted old temp keys");
  }

  const auto public_key = lyrPublicKeyGeneration();
  const auto private_key = lyrPrivateKeyGeneration();
  bool generated = false;
  try {
    generated = generateKeyPair(*tee.m_session, public_key, private_key);
  } catch (const Botan::Exception& error) {
    logError(m_logger, std::string("Failed to generate ECDSA keypair with exception ") + error.what());
    return ResultCode::CRYPTO_OP_ERROR;
  }
  if (!generated) {
    logDebug(m_logger, "ClientCertInitializer::generate_private_key returning CRYPTO_OP_ERROR");
    return ResultCode::CRYPTO_OP_ERROR;
  }
  logDebug(m_logger, "ClientCertInitializer::generate_private_key returning OK");
  tee.m_session->logoff();
  tee.m_session->release();
  return ResultCode::OK;
}

}  // namespace tee
}  // namespace ozk
