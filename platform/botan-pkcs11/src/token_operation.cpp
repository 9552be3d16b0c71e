// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_operation.h"

namespace Botan {
namespace PKCS11 {

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

}  // namespace PKCS11
}  // namespace Botan
