// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Signs a text with a key that is made in a PKCS#11 token and never leaves it: sign-in-token MODULE PIN TEXT

#include <botan/auto_rng.h>
#include <botan/hex.h>
#include <botan/p11_ecdsa.h>
#include <botan/pubkey.h>

#include <iostream>
#include <stdexcept>

using namespace Botan::PKCS11;

int main(int argc, char* argv[]) try {
  if (argc != 4) {
    std::cerr << "usage: sign-in-token MODULE PIN TEXT\n";
    return 2;
  }
  const std::string pin = argv[2], text = argv[3];
  Module module(argv[1]);
  const auto slots = Slot::get_available_slots(module, true);
  if (slots.empty()) {
    throw std::runtime_error(std::string(argv[1]) + " has no token; for a software token: tee-token init");
  }
  Slot slot(module, slots.front());
  Session session(slot, false);
  session.login(UserType::User, secure_string(pin.begin(), pin.end()));

  EC_PublicKeyGenerationProperties public_template(
      Botan::EC_Group("secp256r1").DER_encode(Botan::EC_DOMPAR_ENC_OID));
  EC_PrivateKeyGenerationProperties private_template;
  private_template.set_sensitive(true);
  private_template.set_extractable(false);
  const PKCS11_ECDSA_KeyPair key = generate_ecdsa_keypair(session, public_template, private_template);

  Botan::AutoSeeded_RNG rng;
  const auto signature = Botan::PK_Signer(key.second, rng, "EMSA1(SHA-256)")
                             .sign_message(reinterpret_cast<const uint8_t*>(text.data()), text.size(), rng);
  std::cout << Botan::hex_encode(signature) << '\n';

  Botan::PK_Verifier verifier(key.first.export_key(), "EMSA1(SHA-256)");
  verifier.update(text);
  return verifier.check_signature(signature) ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
