// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/logging.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_types.h>
#include <botan/x509cert.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ozk/tee/client_cert_initializer_api.h"
#include "tee/tee_session.h"

namespace ozk {
namespace tee {

/// The implementation of the interface. Its only state is the logger, so overlapping calls share no data.
class ClientCertInitializer : public ClientCertInitializerAPI {
 public:
  static const std::shared_ptr<ClientCertInitializer>& getInstance() {
    static const std::shared_ptr<ClientCertInitializer> instance(new ClientCertInitializer());
    return instance;
  }

  ClientCertInitializer(const ClientCertInitializer&) = delete;
  ClientCertInitializer& operator=(const ClientCertInitializer&) = delete;

  ResultCode generate_private_key(std::string key_id) override;
  std::vector<std::uint8_t> generate_csr(std::string common_name, std::string key_id) override;
  std::vector<std::uint8_t> generate_signature(std::string key_id, std::vector<std::uint8_t> data,
                                               std::string unused) override;
  std::string get_public_key(std::string key_id) override;
  std::string get_client_cert(std::string key_id) override;
  ResultCode set_client_cert_and_move_key(std::string cert_chain, std::string temp_key_id,
                                          std::string key_id) override;
  std::string get_root_cert_bundle(std::string trust_store_group) override;
  std::string get_zemp_vin() override;

 private:
  friend struct ClientCertInitializerTestAccess;

  ClientCertInitializer();

  /// Each returns the handle of the first object found, an installed one if `permanent` and a temporary one
  /// otherwise; 0 when there is none or the search fails (which is logged).
  Botan::PKCS11::ObjectHandle getLYRPublicKeyHandle(Botan::PKCS11::Session& session, bool permanent) const;
  Botan::PKCS11::ObjectHandle getLYRPrivateKeyHandle(Botan::PKCS11::Session& session, bool permanent) const;
  Botan::PKCS11::ObjectHandle getBASEPrivateKeyHandle(Botan::PKCS11::Session& session) const;
  Botan::PKCS11::ObjectHandle getLYRCertificateChainHandle(Botan::PKCS11::Session& session,
                                                           bool permanent) const;

  /// Each of these destroys objects one by one. At the first that cannot be opened or destroyed it stops and
  /// returns CRYPTO_OP_ERROR; the objects destroyed before are lost.
  ResultCode deleteOldTemporaryKeys(Botan::PKCS11::Session& session) const;
  ResultCode deleteLYRCertificateAndKeys(TEESession::TEESession& tee) const;

  /// `handles` begins with the public and the private key; `chain` is never null.
  ResultCode deleteSessionCertificateAndKeys(TEESession::TEESession& tee, std::vector<unsigned long>& handles,
                                             const Botan::PKCS11::PKCS11_TSG_CertficateChain* chain) const;

  /// Installs the chain. The caller has checked the arguments and that there is a token.
  ResultCode installChain(TEESession::TEESession& tee, const std::string& cert_chain,
                          const std::string& key_id) const;
  std::vector<unsigned long> temporaryKeyHandles(Botan::PKCS11::Session& session) const;
  std::vector<unsigned long> installedHandles(Botan::PKCS11::Session& session) const;

  /// Returns the certificates that can be decoded from `pem`, in their order. `session` is not used.
  std::vector<Botan::X509_Certificate> getCertificates(Botan::PKCS11::Session& session,
                                                       std::string pem) const;

  /// Returns the certificates with these labels (text form), in their order, and appends one entry per
  /// label to `statuses`: OK, FunctionFailed when there is no object, DataInvalid when it is not a
  /// certificate.
  std::vector<Botan::X509_Certificate> getZEMPCerts(Botan::PKCS11::Session& session,
                                                    const std::vector<std::string>& labels,
                                                    std::vector<Botan::PKCS11::ReturnValue>& statuses) const;

  static constexpr std::size_t kReseedInterval = 1024;  ///< outputs of a random generator between reseeds

  ara::log::Logger& m_logger;
};

}  // namespace tee
}  // namespace ozk
