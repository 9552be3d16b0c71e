// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/tee_session.h"

#include <botan/secmem.h>

#include <cstdint>
#include <iterator>

namespace TEESession {

namespace {

using Botan::PKCS11::C_InitializeArgs;
using Botan::PKCS11::Flag;
using Botan::PKCS11::Flags;
using Botan::PKCS11::Module;
using Botan::PKCS11::Session;
using Botan::PKCS11::Slot;

const C_InitializeArgs kUseSystemLocks = {
    nullptr, nullptr, nullptr, nullptr, static_cast<Flags>(Flag::OsLockingOk), nullptr};

constexpr auto kPlatformModule = "";  // an empty path is the platform's own token

// The zero byte is part of the PIN. An initializer list in its place would leave a copy on the stack.
constexpr std::uint8_t kUserPin[] = {'4', '0', '7', '1', '8', '2', '9', '3', '\0'};

Botan::secure_vector<std::uint8_t> userPin() {
  return Botan::secure_vector<std::uint8_t>(std::begin(kUserPin), std::end(kUserPin));
}

}  // namespace

TEESession::TEESession(bool login)
    : m_module(std::make_unique<Module>(kPlatformModule, kUseSystemLocks, nullptr)) {
  const auto slots = Slot::get_available_slots(*m_module, true);
  if (slots.empty()) {
    m_valid = false;
    return;
  }
  m_slot = std::make_unique<Slot>(*m_module, slots.front());
  m_session = std::make_unique<Session>(*m_slot, false);
  if (login) {
    m_session->login(Botan::PKCS11::UserType::User, userPin());
  }
}

}  // namespace TEESession
