// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/pubkey.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::Session;

std::vector<std::uint8_t> sign(Session& session, ObjectHandle handle, const std::vector<std::uint8_t>& data,
                               Botan::RandomNumberGenerator& rng) {
  const Botan::PKCS11::PKCS11_ECDSA_PrivateKey key(session, handle);
  Botan::PK_Signer signer(key, rng, "EMSA1(SHA-256)", Botan::IEEE_1363, "");
  signer.update(data);
  return signer.signature(rng);
}

}  // namespace

std::vector<std::uint8_t> ClientCertInitializer::generate_signature(std::string key_id,
                                                                    std::vector<std::uint8_t> data,
                                                                    std::string) {
  Botan::AutoSeeded_RNG rng(kReseedInterval);
  TEESession::TEESession tee(true);
  ObjectHandle key = 0;
  if (key_id == kLYRKeyId) {
    key = tee.m_valid ? getLYRPrivateKeyHandle(*tee.m_session, true) : 0;
  } else if (key_id == kBASEKeyId) {
    logDebug(m_logger, "ClientCertInitializer::Getting Base Key Id");
    key = tee.m_valid ? getBASEPrivateKeyHandle(*tee.m_session) : 0;
    // A missing base key is an error; a missing client key is not, since none may be installed yet.
    if (key == 0) logError(m_logger, "ClientCertInitializer::generate_signature signature generation failed");
  }
  if (key == 0) return {};
  return sign(*tee.m_session, key, data, rng);
}

}  // namespace tee
}  // namespace ozk
