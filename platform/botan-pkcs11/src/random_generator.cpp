// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_randomgenerator.h>

namespace Botan {
namespace PKCS11 {

void PKCS11_RNG::randomize(uint8_t output[], size_t length) {
  m_session.module()->C_GenerateRandom(m_session.handle(), output, length);
}

void PKCS11_RNG::add_entropy(const uint8_t input[], size_t length) {
  m_session.module()->C_SeedRandom(m_session.handle(), const_cast<Byte*>(input), length);
}

size_t PKCS11_RNG::reseed(Entropy_Sources&, size_t, std::chrono::milliseconds) { return 0; }

}  // namespace PKCS11
}  // namespace Botan
