// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/entropy_src.h>
#include <botan/p11_types.h>
#include <botan/rng.h>

#include <chrono>
#include <string>

namespace Botan {
namespace PKCS11 {

/// The token's random number generator with Botan's interface. It refers to its session. Throws
/// PKCS11_ReturnError if the token returns an error.
class BOTAN_PKCS11_API PKCS11_RNG final : public Hardware_RNG {
 public:
  explicit PKCS11_RNG(Session& session) : m_session(session) {}

  std::string name() const override { return "PKCS11_RNG"; }

  /// Always true: the token seeds itself.
  bool is_seeded() const override { return true; }
  bool accepts_input() const override { return true; }

  /// Fills `output` by C_GenerateRandom.
  void randomize(uint8_t output[], size_t length) override {
    m_session.module()->C_GenerateRandom(m_session.handle(), output, length);
  }

  /// Mixes `input` into the token's generator by C_SeedRandom, which some tokens do not support.
  void add_entropy(const uint8_t input[], size_t length) override {
    m_session.module()->C_SeedRandom(m_session.handle(), const_cast<Byte*>(input), length);
  }

  /// Does nothing and returns 0: it takes no entropy from the sources.
  size_t reseed(Entropy_Sources&, size_t = BOTAN_RNG_RESEED_POLL_BITS,
                std::chrono::milliseconds = BOTAN_RNG_RESEED_DEFAULT_TIMEOUT) override {
    return 0;
  }

 private:
  Session& m_session;
};

}  // namespace PKCS11
}  // namespace Botan
