// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "ecdsa_operations.h"

#include <botan/emsa.h>

#include <array>

#include "token_operation.h"

namespace Botan {
namespace PKCS11 {

namespace {

/// Room for a signature that nobody wants; the longest has 2 * 72 bytes (sect571r1).
using Discarded = std::array<Byte, 256>;

MechanismType ecdsa_mechanism(const std::string& emsa) {
  static const std::map<std::string, MechanismType> by_hash = {{"SHA-160", MechanismType::EcdsaSha1},
                                                               {"SHA-224", MechanismType::EcdsaSha224},
                                                               {"SHA-256", MechanismType::EcdsaSha256},
                                                               {"SHA-384", MechanismType::EcdsaSha384},
                                                               {"SHA-512", MechanismType::EcdsaSha512}};
  if (emsa == "Raw") {
    return MechanismType::Ecdsa;
  }
  const auto found = by_hash.find(hash_for_emsa(emsa));
  if (found == by_hash.end()) {
    throw Lookup_Error("PKCS#11 ECDSA sign/verify does not support " + emsa);
  }
  return found->second;
}

class Signature final : public PK_Ops::Signature, private TokenOperation {
 public:
  Signature(const PKCS11_ECDSA_PrivateKey& key, const std::string& emsa)
      : TokenOperation(key, ecdsa_mechanism(emsa), &LowLevel::C_SignInit, &LowLevel::C_SignUpdate),
        m_length(2 * key.message_part_size()) {}

  ~Signature() override { abandon(end()); }

  void update(const uint8_t message[], size_t length) override { add(message, length); }

  secure_vector<uint8_t> sign(RandomNumberGenerator&) override {
    secure_vector<uint8_t> signature;
    const State state = end();
    try {
      if (state == State::OnePiece) {
        token().C_Sign(session(), piece(), signature);
      } else {
        token().C_SignFinal(session(), signature);
      }
    } catch (...) {
      abandon(state);  // not every token has ended it
      throw;
    }
    return signature;
  }

  size_t signature_length() const override { return m_length; }

 private:
  void abandon(State state) noexcept override {
    Discarded signature;
    Ulong length = signature.size();
    if (state == State::OnePiece) {
      Byte* const message = const_cast<Byte*>(piece().data());
      token().C_Sign(session(), message, piece().size(), signature.data(), &length, nullptr);
    } else if (state == State::Streaming) {
      token().C_SignFinal(session(), signature.data(), &length, nullptr);
    }
  }

  const size_t m_length;
};

class Verification final : public PK_Ops::Verification, private TokenOperation {
 public:
  Verification(const PKCS11_ECDSA_PublicKey& key, const std::string& emsa)
      : TokenOperation(key, ecdsa_mechanism(emsa), &LowLevel::C_VerifyInit, &LowLevel::C_VerifyUpdate),
        m_length(2 * key.message_part_size()) {}

  ~Verification() override { abandon(end()); }

  void update(const uint8_t message[], size_t length) override { add(message, length); }

  bool is_valid_signature(const uint8_t signature[], size_t length) override {
    const State state = end();
    const ReturnValue result = verify(state, signature, length);
    if (result != ReturnValue::OK && result != ReturnValue::SignatureInvalid) {
      abandon(state);  // not every token has ended it
      throw PKCS11_ReturnError(result);
    }
    return result == ReturnValue::OK;
  }

 private:
  ReturnValue verify(State state, const uint8_t signature[], size_t length) const noexcept {
    ReturnValue result = ReturnValue::OK;
    Byte* const message = const_cast<Byte*>(piece().data());
    Byte* const expected = const_cast<Byte*>(signature);
    if (state == State::OnePiece) {
      token().C_Verify(session(), message, piece().size(), expected, length, &result);
    } else {
      token().C_VerifyFinal(session(), expected, length, &result);
    }
    return result;
  }

  void abandon(State state) noexcept override {
    if (state != State::Idle) {
      verify(state, Discarded{}.data(), m_length);
    }
  }

  const size_t m_length;
};

}  // namespace

std::unique_ptr<PK_Ops::Signature> make_ecdsa_signature(const PKCS11_ECDSA_PrivateKey& key,
                                                        const std::string& emsa) {
  return std::unique_ptr<PK_Ops::Signature>(new Signature(key, emsa));
}

std::unique_ptr<PK_Ops::Verification> make_ecdsa_verification(const PKCS11_ECDSA_PublicKey& key,
                                                              const std::string& emsa) {
  return std::unique_ptr<PK_Ops::Verification>(new Verification(key, emsa));
}

}  // namespace PKCS11
}  // namespace Botan
