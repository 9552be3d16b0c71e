// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "scratch_keys.h"

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <botan/pubkey.h>

#include <sstream>

#include "shared/object_attributes.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

ScratchPair make_pair(Trial& trial, TokenSession& token, const IdentityMarks& marks) {
  trial.step("C_GenerateKeyPair");
  ScratchPair pair =
      generate_ecdsa_keypair(token.session(), public_key_generation(marks), private_key_generation(marks));
  pair.second.set_public_point(pair.first.public_point());
  pair.second.set_parameter_encoding(Botan::EC_DOMPAR_ENC_OID);
  pair.second.set_point_encoding(Botan::PointGFp::UNCOMPRESSED);
  return pair;
}

std::vector<std::uint8_t> sign(const PKCS11_ECDSA_PrivateKey& key, const std::vector<std::uint8_t>& message) {
  Botan::AutoSeeded_RNG rng;
  Botan::PK_Signer signer(key, rng, "EMSA1(SHA-256)", Botan::IEEE_1363, "");
  signer.update(message);
  return signer.signature(rng);
}

bool verifies(const Botan::EC_PublicKey& key, const std::vector<std::uint8_t>& message,
              const std::vector<std::uint8_t>& signature) {
  const Botan::ECDSA_PublicKey software(key.domain(), key.public_point());
  return signature.size() == 64 &&
         Botan::PK_Verifier(software, "EMSA1(SHA-256)").verify_message(message, signature);
}

void require_attributes(const Trial& trial, const Object& object, const AttributeContainer& given) {
  for (const Attribute& attribute : given.attributes()) {
    const auto* const bytes = static_cast<const std::uint8_t*>(attribute.pValue);
    const std::vector<std::uint8_t> wanted(bytes, bytes + attribute.ulValueLen);
    const std::vector<std::uint8_t> found = value_of(object, attribute.type);
    std::ostringstream text;
    text << "attribute 0x" << std::hex << attribute.type << " reads as '" << Botan::hex_encode(found)
         << "', and was given as '" << Botan::hex_encode(wanted) << "'";
    trial.require(found == wanted, text.str());
  }
}

}  // namespace tee_token_admin
