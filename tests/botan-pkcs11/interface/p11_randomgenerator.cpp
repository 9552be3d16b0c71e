// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_randomgenerator.h>

#include "declared.h"

using namespace Botan::PKCS11;

template struct Class<PKCS11_RNG, kVirtual + kFinal, Botan::Hardware_RNG>;
template struct Constructs<PKCS11_RNG, Session&>;

void random_generator(PKCS11_RNG& rng, Botan::Entropy_Sources& sources) {
  has<PKCS11_RNG, void(uint8_t[], size_t)>({&PKCS11_RNG::randomize});
  has<PKCS11_RNG, void(const uint8_t[], size_t)>({&PKCS11_RNG::add_entropy});
  has<PKCS11_RNG, size_t(Botan::Entropy_Sources&, size_t, std::chrono::milliseconds)>({&PKCS11_RNG::reseed});
  has<PKCS11_RNG, void()>({&PKCS11_RNG::clear});
  has<PKCS11_RNG, bool() const>({&PKCS11_RNG::is_seeded, &PKCS11_RNG::accepts_input});
  has<PKCS11_RNG, std::string() const>({&PKCS11_RNG::name});
  rng.reseed(sources);
}
