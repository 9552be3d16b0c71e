// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "store/token.h"
#include "token_test.h"

namespace token_test {
namespace {

/// Bytes that this test knows only masked, so as not to find its own.
using Masked = std::array<CK_BYTE, 32>;
constexpr CK_BYTE kMask = 0x5A;

Masked new_secret() {
  Masked masked{};
  RAND_bytes(masked.data(), static_cast<int>(masked.size()));
  masked[0] &= 0x7F;  // a scalar below the order, once the mask is off
  return masked;
}

/// The bytes in clear while a call takes them.
struct Clear : Masked {
  explicit Clear(const Masked& masked) : Masked(masked) {
    for (CK_BYTE& byte : *this) byte ^= kMask;
  }
  ~Clear() { OPENSSL_cleanse(data(), size()); }
};

/// In this order of the bytes, or in the other one, libcrypto's of a number.
bool is_in(const std::string& memory, const Masked& secret) {
  const auto same = [](char found, CK_BYTE masked) { return CK_BYTE(found) == (masked ^ kMask); };
  const auto has = [&](auto first, auto end) {
    return std::search(memory.begin(), memory.end(), first, end, same) != memory.end();
  };
  return has(secret.begin(), secret.end()) || has(secret.rbegin(), secret.rend());
}

/// Whether a mapping of this process that can be written to holds the secret.
bool is_in_memory(const Masked& secret) {
  bool is_found = false;
  std::ifstream maps("/proc/self/maps");
  const int memory = ::open("/proc/self/mem", O_RDONLY);
  for (std::string line; std::getline(maps, line);) {
    unsigned long first = 0, end = 0;
    char rights[5] = {};
    std::sscanf(line.c_str(), "%lx-%lx %4s", &first, &end, rights);
    constexpr unsigned long kSanitizersOwn = 1UL << 24;  // its shadow has terabytes
    if (rights[1] != 'w' || end - first > kSanitizersOwn) continue;
    std::string content(end - first, ' ');
    if (::pread(memory, content.data(), content.size(), static_cast<off_t>(first)) < 0) continue;
    is_found = is_in(content, secret) || is_found;
    OPENSSL_cleanse(content.data(), content.size());
  }
  ::close(memory);
  return is_found;
}

using SecretsTest = TokenTest;

TEST_F(SecretsTest, NeitherPinNorKeyStaysInMemoryOrComesIntoAFile) {
  const Masked pin = new_secret(), scalar = new_secret();
  Template object = Class(CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_EC).flag(CKA_TOKEN, true);
  CK_ATTRIBUTE* const attributes = object.add(CKA_EC_PARAMS, kP256).add(CKA_VALUE, {}).data();
  CK_OBJECT_HANDLE key = 0, session_copy = 0;
  ASSERT_EQ(answer(m_token->C_SetPIN(m_session, bytes(kPin), kPin.size(), Clear(pin).data(), 32)), OK);
  ASSERT_EQ(answer(m_token->C_Login(m_session, CKU_USER, Clear(pin).data(), 32)), OK);
  {
    Clear value(scalar);
    attributes[4] = {CKA_VALUE, value.data(), 32};
    ASSERT_EQ(answer(m_token->C_CreateObject(m_session, attributes, object.size(), &key)), OK);
  }
  ASSERT_EQ(copy(key, Template().flag(CKA_TOKEN, false), &session_copy), OK);
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, session_copy)), OK);
  EXPECT_TRUE(is_in_memory(scalar)) << "a key at work can be found";
  ASSERT_EQ(logout(), OK);
  for (const Masked& secret : {scalar, pin}) {
    EXPECT_FALSE(is_in_memory(secret));
    for (const auto& entry : std::filesystem::directory_iterator(folder())) {
      EXPECT_FALSE(is_in(content_of(entry.path()), secret)) << entry.path();
    }
  }
}

TEST_F(SecretsTest, EachTokenHasAMasterKeyOfItsOwn) {
  std::vector<tee_token::Bytes> keys;
  m_token->C_CloseAllSessions(0);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(init_token(), OK);
    tee_token::Token token{tee_token::DeviceFolder(folder())};
    token.log_in(tee_token::User::kSecurityOfficer, {kOfficerPin.data(), kOfficerPin.size()});
    keys.push_back(token.login().value().master_key);
  }
  EXPECT_NE(keys[0], keys[1]);
}

}  // namespace
}  // namespace token_test
