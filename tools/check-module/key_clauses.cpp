// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/auto_rng.h>
#include <botan/ec_group.h>
#include <botan/ecdsa.h>
#include <botan/hex.h>
#include <botan/pkcs10.h>
#include <botan/pubkey.h>
#include <botan/x509_ca.h>
#include <botan/x509self.h>

#include <chrono>

#include "marked_objects.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLongMessage = 1 << 20;
constexpr int kSignatures = 100;  // of some, r or s begins with a zero byte

/// One temporary key and no installed one.
void require_found(Trial& trial, TokenSession& token, Template (*search)(bool permanent), ObjectHandle key) {
  trial.require(token.find(marked(search(false), trial.mark())) == Handles{key}, "does not find it alone");
  trial.require(token.find(marked(search(true), trial.mark())).empty(), "finds it as an installed one");
}

void require_signature(Trial& trial, TokenSession& token, const Handles& keys, const Bytes& message) {
  trial.step("a signature of " + std::to_string(message.size()) + " bytes");
  const Bytes signature = signature_of(PKCS11_ECDSA_PrivateKey(token.session(), keys[1]), message);
  trial.require(signature.size() == 64, "has " + std::to_string(signature.size()) + " bytes instead of 64");
  trial.require(verifies(PKCS11_ECDSA_PublicKey(token.session(), keys[0]), message, signature),
                "does not verify");
}

Botan::ECDSA_PrivateKey software_key(Botan::RandomNumberGenerator& rng) {
  return {rng, Botan::EC_Group("secp256r1")};
}

Botan::X509_Cert_Options named(const char* common_name) {
  Botan::X509_Cert_Options options;
  options.common_name = common_name;
  return options;
}

}  // namespace

std::vector<std::uint8_t> signature_of(const PKCS11_ECDSA_PrivateKey& key, const Bytes& message) {
  Botan::AutoSeeded_RNG rng;
  return Botan::PK_Signer(key, rng, "EMSA1(SHA-256)").sign_message(message, rng);
}

bool verifies(const Botan::EC_PublicKey& key, const Bytes& message, const Bytes& signature) {
  const Botan::ECDSA_PublicKey software(key.domain(), key.public_point());
  return signature.size() == 64 &&
         Botan::PK_Verifier(software, "EMSA1(SHA-256)").verify_message(message, signature);
}

Judgement generates_the_librarys_key_pair(Trial& trial) {
  UserSession user(trial);
  const Handles keys = generate(trial, user);
  trial.step("the public key");
  require_attributes(trial, user, keys[0], marked(library::lyrPublicKeyGeneration(), trial.mark()));
  trial.step("the private key");
  require_attributes(trial, user, keys[1], marked(library::lyrPrivateKeyGeneration(), trial.mark()));
  trial.step("the library's search for the public key");
  require_found(trial, user, library::lyrPublicKeySearch, keys[0]);
  trial.step("the library's search for the private key");
  require_found(trial, user, library::lyrPrivateKeySearch, keys[1]);
  return {};
}

Judgement gives_the_point_in_der(Trial& trial) {
  UserSession user(trial);
  const Handles keys = generate_standard(trial, user);
  const Bytes point = value_of(Object(user.session(), keys[0]), CKA_EC_POINT);
  const Bytes beginning = {0x04, 0x41, 0x04};  // OCTET STRING of 65 bytes, uncompressed
  trial.step("CKA_EC_POINT");
  trial.require(point.size() == 67 && std::equal(beginning.begin(), beginning.end(), point.begin()),
                "is " + Botan::hex_encode(point));
  const Bytes curve = Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID);
  for (const ObjectHandle key : keys) {
    trial.step(std::string("CKA_EC_PARAMS of the ") + (key == keys[0] ? "public" : "private") + " key");
    trial.require(value_of(Object(user.session(), key), CKA_EC_PARAMS) == curve,
                  "is not the curve's object identifier");
  }
  return {};
}

Judgement hides_the_private_key(Trial& trial) {
  UserSession user(trial);
  const Object key(user.session(), generate_standard(trial, user)[1]);
  trial.step("C_GetAttributeValue");
  trial.require(value_of(key, CKA_VALUE).empty(), "CKA_VALUE reveals the private key");
  trial.require(is_true(key, CKA_SENSITIVE), "CKA_SENSITIVE is not true");
  trial.require(!is_true(key, CKA_EXTRACTABLE), "CKA_EXTRACTABLE is true");
  return {};
}

Judgement signs(Trial& trial) {
  UserSession user(trial);
  const Handles keys = generate_standard(trial, user);
  for (const std::size_t length : {std::size_t{0}, kLongMessage}) {
    require_signature(trial, user, keys, Bytes(length, 'm'));
  }
  for (int i = 0; i < kSignatures; ++i) {
    require_signature(trial, user, keys, Bytes(32, static_cast<std::uint8_t>(i)));
  }
  return {};
}

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
