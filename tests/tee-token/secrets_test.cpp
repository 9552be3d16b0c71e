// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "token_test.h"

namespace token_test {
namespace {

/// Byte `i` of a secret, computed when it is needed, so that a search does not find its own copy.
CK_BYTE byte_of(int secret, int i) { return static_cast<CK_BYTE>(secret + 41 * i * i); }

/// A secret while a call takes it.
struct Clear : std::array<CK_BYTE, 32> {
  explicit Clear(int secret) {
    for (int i = 0; i < 32; ++i) at(static_cast<std::size_t>(i)) = byte_of(secret, i);
  }
  ~Clear() { OPENSSL_cleanse(data(), size()); }
};

/// In this order of the bytes, or in the other one, libcrypto's of a number.
bool is_in(const std::string& memory, int secret) {
  std::array<int, 32> order{};
  std::iota(order.begin(), order.end(), 0);
  const auto same = [secret](char found, int i) { return CK_BYTE(found) == byte_of(secret, i); };
  const auto has = [&](auto first, auto end) {
    return std::search(memory.begin(), memory.end(), first, end, same) != memory.end();
  };
  return has(order.begin(), order.end()) || has(order.rbegin(), order.rend());
}

/// Whether a mapping of this process that can be written to holds the secret.
bool is_in_memory(int secret) {
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
  constexpr int pin = 1, scalar = 2;
  Template object = Class(CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_EC).flag(CKA_TOKEN, true);
  CK_ATTRIBUTE* const attributes = object.add(CKA_EC_PARAMS, kP256).add(CKA_VALUE, {}).data();
  CK_OBJECT_HANDLE key = 0, session_copy = 0;
  ASSERT_EQ(answer(m_token->C_SetPIN(m_session, bytes(kPin), kPin.size(), Clear(pin).data(), 32)), OK);
  ASSERT_EQ(answer(m_token->C_Login(m_session, CKU_USER, Clear(pin).data(), 32)), OK);
  {
    Clear value(scalar);
    attributes[4] = {CKA_VALUE, value.data(), 32};
    ASSERT_EQ(answer(m_token->C_CreateObject(m_session, attributes, object.size(), &key)), OK);
    CK_ULONG found = 0;
    m_token->C_FindObjectsInit(m_session, &attributes[4], 1);
    m_token->C_FindObjects(m_session, &session_copy, 1, &found);
    m_token->C_FindObjectsFinal(m_session);
  }
  ASSERT_EQ(copy(key, Template().flag(CKA_TOKEN, false), &session_copy), OK);
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, session_copy)), OK);
  EXPECT_TRUE(is_in_memory(scalar)) << "a key at work can be found";
  ASSERT_EQ(logout(), OK);
  for (const int secret : {scalar, pin}) {
    EXPECT_FALSE(is_in_memory(secret));
    for (const auto& entry : std::filesystem::directory_iterator(folder())) {
      EXPECT_FALSE(is_in(content_of(entry.path()), secret)) << entry.path();
    }
  }
}

}  // namespace
}  // namespace token_test
