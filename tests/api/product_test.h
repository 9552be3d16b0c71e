// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_x509.h>
#include <gmock/gmock.h>

#include <array>
#include <set>

#include "ozk/tee/client_cert_initializer_api.h"
#include "support/certificate_authority.h"
#include "support/log_capture.h"
#include "support/spytoken.h"
#include "support/temporary_folder.h"

namespace ozk::tee {

using namespace test_support;
using ::testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;
using Chain = std::vector<Botan::X509_Certificate>;

inline std::string nameOf(ResultCode code) { return "code " + std::to_string(static_cast<unsigned>(code)); }

/// Verifies a raw signature (r||s over SHA-256) in software, under a public key in PEM.
bool verifies(const std::string& public_key, const Bytes& data, const Bytes& signature);

/// The public key in the first certificate of a PEM text, in PEM; empty without a certificate.
std::string certifiedKey(const std::string& certificates);

/// CKA_LABEL: group, then the index in 32 bits, little-endian.
inline Bytes label(std::uint8_t group, unsigned index) {
  return {group, static_cast<std::uint8_t>(index), 0, 0, 0};
}

// Each stores an object as the user, without the spy.
void importTemporaryChain();  // without certificates
void importCertificate(const Bytes& label, Botan::PKCS11::X509_CertificateProperties certificate);
void importData(const Bytes& label, const std::string& value);
std::string importBaseKey();  // returns the public half in PEM

/// Stores a trust store group and its roots, as the security officer.
void addTrustStoreGroup(const std::string& group, const std::string& client, const Chain& roots);

/// Handles of all objects of a token, seen from a session of the reader's own. No other may be open.
struct TokenContent {
  using Handles = std::set<unsigned long>;
  std::array<Handles, 3> installed, temporary;  // the library's: public keys, private keys, chains
  Handles others;

  static TokenContent now();
};

/// The library on a fresh token behind the spy, with a backend for its requests. Records are captured.
class ProductTest : public ::testing::Test {
 protected:
  ProductTest();

  ResultCode generate() { return product->generate_private_key("LYR_CSR"); }
  /// Generates a key pair and returns the chain issued for it: leaf, root.
  Chain requestChain(const std::string& common_name);
  ResultCode install(const std::string& chain) {
    return product->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR");
  }
  /// Installs a new identity and returns its chain. Its records and calls are dropped.
  Chain provision(const std::string& common_name);
  ResultCode remove() { return product->set_client_cert_and_move_key("", "", "LYR"); }

  /// Whether "LYR" signs, and the installed public key verifies the signature.
  bool signsWithInstalledKey();

  LogCapture log;
  TemporaryFolder token;
  CertificateAuthority authority;
  std::shared_ptr<ClientCertInitializerAPI> product = ClientCertInitializerAPI::get_instance();
};

}  // namespace ozk::tee
