// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <base/error.h>
#include <botan/p11_ecdsa.h>
#include <gmock/gmock.h>

#include <fstream>

#include "support/spytoken.h"
#include "support/temporary_folder.h"

using namespace Botan::PKCS11;
using testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

inline secure_string secret(const std::string& text) { return {text.begin(), text.end()}; }

/// The text of the exception of type Error that `call` throws; empty if it throws none.
template <typename Error, typename Call>
std::string message_of(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}

/// The name of the code that `call` fails with, CKR_OK if it does not fail.
template <typename Call>
std::string code_of(Call call) {
  const std::string message = message_of<PKCS11_ReturnError>(call), prefix = "PKCS11 error ";
  return tee_token::return_value_name(message.empty() ? CKR_OK : std::stoul(message.substr(prefix.size())));
}

/// One rule: what is done, and the code that it ends with.
#define EXPECT_CODE(code, ...) EXPECT_EQ(code_of([&] { __VA_ARGS__; }), #code) << #__VA_ARGS__

/// A token in a folder of its own, with a read-write session that its user is logged in to.
class TokenTest : public testing::Test {
 protected:
  explicit TokenTest(const std::string& library)
      : module(configured(library),
               C_InitializeArgs{nullptr, nullptr, nullptr, nullptr, CKF_OS_LOCKING_OK, nullptr}, nullptr) {
    session.login(UserType::User, pin);
  }

  static Bytes params(const Botan::EC_Group& curve) { return curve.DER_encode(Botan::EC_DOMPAR_ENC_OID); }

 private:
  const std::string& configured(const std::string& library) const {
    std::ofstream(m_folder.path() / "conf") << "directories.tokendir = " << m_folder.path().string() << '\n';
    ::setenv("SOFTHSM2_CONF", (m_folder.path() / "conf").c_str(), 1);
    ::setenv("TEE_TOKEN_DIR", m_folder.path().c_str(), 1);
    ::setenv("SPYTOKEN_MODULE", BUILT_TOKEN, 1);
    return library;
  }
  Slot initialized() {
    Slot blank(module, Slot::get_available_slots(module, true).at(0));
    initialize_token(blank, "a label of 32 bytes, no blank...", so_pin, pin);
    module.reload();  // an initialized token may be in another slot
    return Slot(module, Slot::get_available_slots(module, true).at(0));
  }

  const test_support::TemporaryFolder m_folder;

 protected:
  const secure_string so_pin = secret("87654321"), pin = secret(std::string("12345678\0", 9));
  Module module;
  Slot slot = initialized();
  Session session{slot, false};
};

/// The built token behind the spy. Nothing is recorded yet.
class SpiedTest : public TokenTest {
 protected:
  SpiedTest() : TokenTest(SPYTOKEN) { spy.take_calls(); }
  ~SpiedTest() override { spy.reset(); }

  test_support::SpyToken& spy = test_support::spytoken();
};
