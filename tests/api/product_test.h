// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "api/test_access.h"
#include "ozk/tee/client_cert_initializer_api.h"
#include "support/certificate_authority.h"
#include "support/log_capture.h"
#include "support/provisioned_token.h"
#include "tee/templates.h"

namespace ozk::tee {

using test_support::debug;
using test_support::error;
using test_support::label;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;

/// Verifies a raw signature (r||s over SHA-256) in software, under a public key in PEM.
bool verifies(const std::string& public_key, const Bytes& data, const Bytes& signature);

/// The public key that the first certificate of a PEM text carries, in PEM.
std::string certifiedKey(const std::string& certificates);

/// The library on a fresh token, with a backend that certifies what it requests. Records are captured.
class ProductTest : public ::testing::Test {
 protected:
  ProductTest() { log.take(); }

  /// Generates a key pair and returns the chain issued for it: leaf, root.
  std::vector<Botan::X509_Certificate> requestChain(const std::string& common_name);

  ResultCode install(const std::vector<Botan::X509_Certificate>& chain);

  /// Has a new identity installed, and returns its chain; the records of it are dropped.
  std::vector<Botan::X509_Certificate> provision(const std::string& common_name);

  /// get_public_key; empty where it throws because there is no such key.
  std::string publicKeyIfAny(const std::string& key_id);

  /// Puts a BASE key on the token, and returns its public half in PEM.
  std::string importBaseKey();

  /// Whether "LYR" signs, and so that the installed public key verifies it.
  bool signsWithInstalledKey();

  /// How many objects match, looked up in a session of the test's own.
  std::size_t countOf(const Botan::PKCS11::AttributeContainer& sought);

  /// How many temporary objects of "LYR" there are.
  std::size_t temporaries();

  test_support::LogCapture log;
  test_support::ProvisionedToken token;
  test_support::CertificateAuthority authority;
  std::shared_ptr<ClientCertInitializerAPI> product = ClientCertInitializerAPI::get_instance();
  ClientCertInitializerTestAccess access;
};

}  // namespace ozk::tee
