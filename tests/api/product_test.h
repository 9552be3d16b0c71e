// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "api/client_cert_initializer.h"
#include "support/certificate_authority.h"
#include "support/log_capture.h"
#include "support/provisioned_token.h"
#include "support/spytoken.h"
#include "tee/templates.h"

namespace ozk {
namespace tee {

/// An implementation object of the test's own, with access to its private members.
struct ClientCertInitializerTestAccess {
  ResultCode deleteOldTemporaryKeys(Botan::PKCS11::Session& session) const {
    return implementation.deleteOldTemporaryKeys(session);
  }
  std::vector<Botan::X509_Certificate> certificatesIn(Botan::PKCS11::Session& session,
                                                      std::string pem) const {
    return implementation.getCertificates(session, std::move(pem));
  }
  std::vector<Botan::X509_Certificate> certificatesLabelled(
      Botan::PKCS11::Session& session, const std::vector<std::string>& labels,
      std::vector<Botan::PKCS11::ReturnValue>& statuses) const {
    return implementation.getZEMPCerts(session, labels, statuses);
  }

  ClientCertInitializer implementation;
};

using test_support::error;
using test_support::label;
using test_support::pem;
using test_support::spytoken;
using ::testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;
using Chain = std::vector<Botan::X509_Certificate>;

inline std::string nameOf(ResultCode code) { return "code " + std::to_string(static_cast<unsigned>(code)); }

/// Verifies a raw signature (r||s over SHA-256) in software, under a public key in PEM.
bool verifies(const std::string& public_key, const Bytes& data, const Bytes& signature);

/// The public key in the first certificate of a PEM text, in PEM; empty without a certificate.
std::string certifiedKey(const std::string& certificates);

/// Handles of all objects of a token, seen from a session of the reader's own.
struct TokenContent {
  using Handles = std::set<unsigned long>;
  std::array<Handles, 3> installed, temporary;  // the library's: public keys, private keys, chains
  Handles others;

  static TokenContent now();
  friend bool operator==(const TokenContent& a, const TokenContent& b) {
    return a.installed == b.installed && a.temporary == b.temporary && a.others == b.others;
  }
};

/// The library on a fresh token, with a backend that certifies its requests. Records are captured.
class ProductTest : public ::testing::Test {
 protected:
  ProductTest() { log.take(); }

  /// Generates a key pair and returns the chain issued for it: leaf, root.
  Chain requestChain(const std::string& common_name);
  ResultCode install(const Chain& chain);
  /// Installs a new identity and returns its chain. Its records and calls are dropped.
  Chain provision(const std::string& common_name);

  /// get_public_key; empty where it throws because there is no such key.
  std::string publicKeyIfAny(const std::string& key_id);
  /// Puts a BASE key on the token, and returns its public half in PEM.
  std::string importBaseKey();
  /// Whether "LYR" signs, and the installed public key verifies the signature.
  bool signsWithInstalledKey();
  /// The number of temporary objects of "LYR".
  std::size_t temporaries();

  test_support::LogCapture log;
  test_support::ProvisionedToken token;
  test_support::CertificateAuthority authority;
  std::shared_ptr<ClientCertInitializerAPI> product = ClientCertInitializerAPI::get_instance();
  ClientCertInitializerTestAccess access;
};

}  // namespace tee
}  // namespace ozk
