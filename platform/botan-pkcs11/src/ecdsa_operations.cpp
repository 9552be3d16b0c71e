// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/emsa.h>
#include <botan/p11_ecdsa.h>
#include <botan/pk_ops.h>

#include <array>

namespace Botan {
namespace PKCS11 {

namespace {

/// A signature operation on the token. A message of one piece is kept for a single-part call, because some
/// mechanisms can do only that; a second piece makes it a multi-part operation.
///
/// A session can have only one active operation, so one that is not completed has to be ended: the destructor
/// of a derived class calls abandon(end()).
class TokenOperation {
 protected:
  using Init = bool (LowLevel::*)(SessionHandle, Mechanism*, ObjectHandle, ReturnValue*) const;
  using Update = bool (LowLevel::*)(SessionHandle, Byte*, Ulong, ReturnValue*) const;

  /// Idle: not active on the token. OnePiece: active, the message is kept here. Streaming: active, the
  /// message was sent.
  enum class State { Idle, OnePiece, Streaming };

  TokenOperation(const Object& key, MechanismType mechanism, Init init, Update update);
  virtual ~TokenOperation() = default;

  /// Adds a piece of the message; the first one starts the operation. After a failure no operation is active.
  void add(const uint8_t message[], size_t length);

  /// Returns the state and goes back to Idle.
  State end();

  /// Ends the token's operation, which is in this state, and discards the result and any failure.
  void abandon(State state) noexcept;
  virtual void discard(State state) const = 0;

  const LowLevel& token() const { return *m_key.module().operator->(); }
  SessionHandle session() const { return m_key.session().handle(); }

  /// The one piece. Its data() is never null, because some tokens refuse that even for an empty message.
  const secure_vector<uint8_t>& piece() const { return m_piece; }

 private:
  void begin(const uint8_t message[], size_t length);
  void send(const uint8_t part[], size_t length) const;

  const Object& m_key;
  const MechanismType m_mechanism;
  const Init m_init;
  const Update m_update;
  State m_state = State::Idle;
  secure_vector<uint8_t> m_piece;
};

TokenOperation::TokenOperation(const Object& key, MechanismType mechanism, Init init, Update update)
    : m_key(key), m_mechanism(mechanism), m_init(init), m_update(update) {
  m_piece.reserve(1);
}

void TokenOperation::add(const uint8_t message[], size_t length) {
  if (m_state == State::Idle) {
    begin(message, length);
    return;
  }
  try {
    if (m_state == State::OnePiece && !m_piece.empty()) {
      send(m_piece.data(), m_piece.size());
    }
    send(message, length);
    m_state = State::Streaming;
  } catch (...) {
    abandon(end());
    throw;
  }
}

void TokenOperation::abandon(State state) noexcept {
  if (state != State::Idle) {
    m_key.module().clean_up([&](const LowLevel&) { discard(state); });
  }
}

TokenOperation::State TokenOperation::end() { return std::exchange(m_state, State::Idle); }

void TokenOperation::begin(const uint8_t message[], size_t length) {
  m_piece.assign(message, message + length);
  Mechanism mechanism = {static_cast<CK_MECHANISM_TYPE>(m_mechanism), nullptr, 0};
  (token().*m_init)(session(), &mechanism, m_key.handle(), ThrowException);
  m_state = State::OnePiece;
}

void TokenOperation::send(const uint8_t part[], size_t length) const {
  (token().*m_update)(session(), const_cast<Byte*>(part), length, ThrowException);
}

/// A buffer for a signature that is discarded; the longest has 2 * 72 bytes (sect571r1).
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
      abandon(state);  // some tokens do not end a failed operation
      throw;
    }
    return signature;
  }

  size_t signature_length() const override { return m_length; }

 private:
  void discard(State state) const override {
    Discarded signature;
    Ulong length = signature.size();
    if (state == State::OnePiece) {
      Byte* const message = const_cast<Byte*>(piece().data());
      token().C_Sign(session(), message, piece().size(), signature.data(), &length, nullptr);
    } else {
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
      abandon(state);  // some tokens do not end a failed operation
      throw PKCS11_ReturnError(result);
    }
    return result == ReturnValue::OK;
  }

 private:
  ReturnValue verify(State state, const uint8_t signature[], size_t length) const {
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

  void discard(State state) const override { verify(state, Discarded{}.data(), m_length); }

  const size_t m_length;
};

}  // namespace

std::unique_ptr<PK_Ops::Verification> PKCS11_ECDSA_PublicKey::create_verification_op(
    const std::string& params, const std::string&) const {
  return std::unique_ptr<PK_Ops::Verification>(new Verification(*this, params));
}

std::unique_ptr<PK_Ops::Signature> PKCS11_ECDSA_PrivateKey::create_signature_op(RandomNumberGenerator&,
                                                                                const std::string& params,
                                                                                const std::string&) const {
  return std::unique_ptr<PK_Ops::Signature>(new Signature(*this, params));
}

}  // namespace PKCS11
}  // namespace Botan
