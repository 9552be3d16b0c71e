// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/p11_ecdsa.h>
#include <botan/x509self.h>

#include "api/client_cert_initializer.h"
#include "api/key_ids.h"
#include "api/logging.h"

namespace ozk {
namespace tee {

namespace {

using Botan::PKCS11::ObjectHandle;
using Botan::PKCS11::Session;

constexpr std::uint32_t kExpirySeconds =
    31536000;  // the options require it; a request has no validity period

Botan::X509_Cert_Options subjectOptions(const std::string& common_name) {
  Botan::X509_Cert_Options options("", kExpirySeconds);
  options.country = "DE";
  options.organization = "QAVR";
  options.common_name = common_name;
  return options;
}

std::vector<std::uint8_t> signedRequest(Session& session, ObjectHandle private_handle,
                                        ObjectHandle public_handle, const Botan::X509_Cert_Options& options,
                                        Botan::RandomNumberGenerator& rng) {
  Botan::PKCS11::PKCS11_ECDSA_PrivateKey private_key(session, private_handle);
  const Botan::PKCS11::PKCS11_ECDSA_PublicKey public_key(session, public_handle);
  private_key.set_public_point(public_key.public_point());
  private_key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  private_key.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  return Botan::X509::create_cert_req(options, private_key, "SHA-256", rng).BER_encode();
}

}  // namespace

std::vector<std::uint8_t> ClientCertInitializer::generate_csr(std::string common_name, std::string key_id) {
  TEESession::TEESession tee(true);
  if (key_id != kLYRCSRKeyId || !tee.m_valid) return {};

  const auto options = subjectOptions(common_name);
  Botan::AutoSeeded_RNG rng(kReseedInterval);
  const ObjectHandle private_handle = getLYRPrivateKeyHandle(*tee.m_session, false);
  logDebug(m_logger,
           "ClientCertInitializer::generate_csr PRIVATE key Handle = " + std::to_string(private_handle));
  if (private_handle == 0) return {};

  const ObjectHandle public_handle = getLYRPublicKeyHandle(*tee.m_session, false);
  logDebug(m_logger,
           "ClientCertInitializer::generate_csr PUBLIC key Handle = " + std::to_string(public_handle));
  if (public_handle == 0) return {};

  return signedRequest(*tee.m_session, private_handle, public_handle, options, rng);
}

}  // namespace tee
}  // namespace ozk
