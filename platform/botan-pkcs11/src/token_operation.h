// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>

namespace Botan {
namespace PKCS11 {

/// A signature operation on the token and its message. A message that comes in one piece is kept for a
/// single-part call, which is all that some mechanisms can do; with a second piece the operation becomes a
/// multi-part one.
///
/// A session has room for one operation, so one that is begun and not completed is ended: a derived class has
/// to call abandon(end()) in its destructor.
class TokenOperation {
 protected:
  using Init = bool (LowLevel::*)(SessionHandle, Mechanism*, ObjectHandle, ReturnValue*) const;
  using Update = bool (LowLevel::*)(SessionHandle, Byte*, Ulong, ReturnValue*) const;

  /// Idle: nothing begun. OnePiece: begun, the message is kept here. Streaming: begun, the message is on the
  /// token.
  enum class State { Idle, OnePiece, Streaming };

  TokenOperation(const Object& key, MechanismType mechanism, Init init, Update update);
  virtual ~TokenOperation() = default;

  /// Takes the next piece of the message, and begins the operation with the first. On failure nothing is
  /// begun.
  void add(const uint8_t message[], size_t length);

  /// Returns the state and goes back to Idle.
  State end();

  /// Completes the token's operation, which was in this state, for nothing.
  virtual void abandon(State state) noexcept = 0;

  const LowLevel& token() const { return *m_key.module().operator->(); }
  SessionHandle session() const { return m_key.session().handle(); }

  /// The one piece. Its data() is never null, which some tokens refuse even for an empty message.
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

}  // namespace PKCS11
}  // namespace Botan
