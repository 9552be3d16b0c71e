// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>
#include <botan/x509_key.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"

namespace ozk {
namespace tee {

std::string ClientCertInitializer::get_public_key(std::string key_id) {
  TEESession::TEESession tee(true);
  const bool permanent = key_id == kLYRKeyId;
  if ((!permanent && key_id != kLYRCSRKeyId) || !tee.m_valid) return {};

  const auto handle = getLYRPublicKeyHandle(*tee.m_session, permanent);
  Botan::PKCS11::PKCS11_ECDSA_PublicKey key(*tee.m_session, handle);
  key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  key.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  return Botan::X509::PEM_encode(key);
}

}  // namespace tee
}  // namespace ozk
