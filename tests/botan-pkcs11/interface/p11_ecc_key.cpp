// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_ecc_key.h>

#include "declared.h"

using namespace Botan::PKCS11;
using Bytes = std::vector<uint8_t>;
using PublicGeneration = EC_PublicKeyGenerationProperties;
using PublicImport = EC_PublicKeyImportProperties;
using PrivateGeneration = EC_PrivateKeyGenerationProperties;
using PrivateImport = EC_PrivateKeyImportProperties;

template struct Class<PublicGeneration, kMoves + kVirtual + kFinal, PublicKeyProperties>;
template struct Class<PublicImport, kMoves + kVirtual + kFinal, PublicKeyProperties>;
template struct Class<PrivateGeneration, kMoves + kVirtual + kFinal, PrivateKeyProperties>;
template struct Class<PrivateImport, kMoves + kVirtual + kFinal, PrivateKeyProperties>;
template struct Class<PKCS11_EC_PublicKey, kVirtual + kAbstract>;
template struct Class<PKCS11_EC_PrivateKey, kVirtual + kAbstract>;
static_assert(PKCS11_EC_PublicKey::Class == ObjectClass::PublicKey, "");
static_assert(PKCS11_EC_PrivateKey::Class == ObjectClass::PrivateKey, "");

// Those that programs derive: the keys of Botan are virtual bases.
struct Public : PKCS11_EC_PublicKey, virtual Botan::EC_PublicKey {
  using PKCS11_EC_PublicKey::PKCS11_EC_PublicKey;
  std::string algo_name() const override { return "EC"; }
};
struct Private : PKCS11_EC_PrivateKey, virtual Botan::Private_Key {
  using PKCS11_EC_PrivateKey::PKCS11_EC_PrivateKey;
  std::string algo_name() const override { return "EC"; }
  Botan::secure_vector<uint8_t> private_key_bits() const override { return {}; }
};

template struct Class<Public, kCopies + kMoves + kVirtual, Object, Botan::EC_PublicKey>;
template struct Class<Private, kCopies + kMoves + kVirtual, Object, Botan::Private_Key>;
static_assert(!std::is_base_of<Botan::EC_PublicKey, PKCS11_EC_PrivateKey>::value, "");

template struct Converts<PublicGeneration, const Bytes&>;
template struct Converts<PublicImport, const Bytes&, const Bytes&>;
template struct Converts<PrivateGeneration>;
template struct Converts<PrivateImport, const Bytes&, const Botan::BigInt&>;
template struct Converts<Public, Session&, ObjectHandle>;
template struct Converts<Public, Session&, const PublicImport&>;
template struct Converts<Private, Session&, ObjectHandle>;
template struct Converts<Private, Session&, const PrivateImport&>;
template struct Converts<Private, Session&, const Bytes&, const PrivateGeneration&>;

void ec_properties() {
  has<PublicGeneration, const Bytes&() const>({&PublicGeneration::ec_params});
  has<PublicImport, const Bytes&() const>({&PublicImport::ec_params, &PublicImport::ec_point});
  has<PrivateImport, const Bytes&() const>({&PrivateImport::ec_params});
  has<PrivateImport, const Botan::BigInt&() const>({&PrivateImport::value});
}

void ec_public_key(Public& key) {
  key.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  key.set_point_encoding(Botan::PointGFp::COMPRESSED);
}

void ec_private_key(Private& key, const Botan::PointGFp& point) {
  using Key = PKCS11_EC_PrivateKey;
  has<Key, const Botan::EC_Group&() const>({&Key::domain});
  has<Key, void(const Botan::PointGFp&, PublicPointEncoding)>({&Key::set_public_point});
  has<Key, const Botan::PointGFp&() const>({&Key::public_point});
  has<Key, PublicPointEncoding() const>({&Key::point_encoding});
  has<Key, Bytes() const>({&Key::public_key_bits});
  has<Key, Botan::AlgorithmIdentifier() const>({&Key::algorithm_identifier});
  has<Key, size_t() const>({&Key::key_length, &Key::estimated_strength});
  has<Key, bool(Botan::RandomNumberGenerator&, bool) const>({&Key::check_key});
  key.set_public_point(point);
}
