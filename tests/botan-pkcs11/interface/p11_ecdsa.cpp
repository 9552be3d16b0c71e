// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecdsa.h>

#include "declared.h"

using namespace Botan::PKCS11;
using Bytes = std::vector<uint8_t>;
using Public = PKCS11_ECDSA_PublicKey;
using Private = PKCS11_ECDSA_PrivateKey;
using KeyPair = PKCS11_ECDSA_KeyPair;

template struct Class<Public, kCopies + kMoves + kVirtual + kFinal, PKCS11_EC_PublicKey,
                      Botan::ECDSA_PublicKey, Botan::EC_PublicKey>;
template struct Class<Private, kCopies + kMoves + kVirtual + kFinal, PKCS11_EC_PrivateKey,
                      Botan::Private_Key>;
template struct Class<KeyPair, kCopies + kMoves>;
static_assert(Public::Class == ObjectClass::PublicKey && Private::Class == ObjectClass::PrivateKey, "");
template struct Same<KeyPair, std::pair<Public, Private>>;

template struct Converts<Public, Session&, ObjectHandle>;
template struct Converts<Public, Session&, const EC_PublicKeyImportProperties&>;
template struct Converts<Private, Session&, ObjectHandle>;
template struct Converts<Private, Session&, const EC_PrivateKeyImportProperties&>;
template struct Converts<Private, Session&, const Bytes&, const EC_PrivateKeyGenerationProperties&>;

void ecdsa_public_key(Public& key) {
  has<Public, std::string() const>({&Public::algo_name});
  has<Public, Botan::ECDSA_PublicKey() const>({&Public::export_key});
  has<Public, std::unique_ptr<Botan::PK_Ops::Verification>(const std::string&, const std::string&) const>(
      {&Public::create_verification_op});
  has<std::vector<Public>(Session&, const Bytes&)>(Object::search<Public>);
  key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  key.set_point_encoding(Botan::PointGFp::COMPRESSED);
}

void ecdsa_private_key() {
  using Botan::RandomNumberGenerator;
  has<Private, std::string() const>({&Private::algo_name});
  has<Private, size_t() const>({&Private::message_parts, &Private::message_part_size});
  has<Private, Botan::ECDSA_PrivateKey() const>({&Private::export_key});
  has<Private, Botan::secure_vector<uint8_t>() const>({&Private::private_key_bits});
  has<Private, bool(RandomNumberGenerator&, bool) const>({&Private::check_key});
  has<Private, std::unique_ptr<Botan::PK_Ops::Signature>(RandomNumberGenerator&, const std::string&,
                                                         const std::string&) const>(
      {&Private::create_signature_op});
  has<std::vector<Private>(Session&, const Bytes&)>(Object::search<Private>);
}

void ecdsa_key_pair() {
  has<KeyPair(Session&, const EC_PublicKeyGenerationProperties&, const EC_PrivateKeyGenerationProperties&)>(
      generate_ecdsa_keypair);
}
