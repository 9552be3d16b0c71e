// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/ec_group.h>
#include <botan/ecdsa.h>
#include <botan/pkcs10.h>
#include <botan/x509_ca.h>
#include <botan/x509self.h>

#include <chrono>

#include "marked_objects.h"

namespace tee_token_admin {
namespace {

Botan::ECDSA_PrivateKey software_key(Botan::RandomNumberGenerator& rng) {
  return {rng, Botan::EC_Group("secp256r1")};
}

Botan::X509_Cert_Options named(const char* common_name) {
  Botan::X509_Cert_Options options;
  options.common_name = common_name;
  return options;
}

}  // namespace

std::vector<Botan::X509_Certificate> certificates_for(const Botan::Private_Key& key) {
  Botan::AutoSeeded_RNG rng;
  const Botan::ECDSA_PrivateKey root_key = software_key(rng);
  Botan::X509_Cert_Options options = named("check-module root");
  options.CA_key();
  const auto root = Botan::X509::create_self_signed_cert(options, root_key, "SHA-256", rng);
  const auto request = Botan::X509::create_cert_req(named("check-module device"), key, "SHA-256", rng);
  const auto now = std::chrono::system_clock::now();
  const auto leaf =
      Botan::X509_CA(root, root_key, "SHA-256", rng)
          .sign_request(request, rng, Botan::X509_Time(now), Botan::X509_Time(now + std::chrono::hours(24)));
  return {leaf, root};
}

std::vector<Botan::X509_Certificate> certificates_for_another_key() {
  Botan::AutoSeeded_RNG rng;
  return certificates_for(software_key(rng));
}

}  // namespace tee_token_admin
