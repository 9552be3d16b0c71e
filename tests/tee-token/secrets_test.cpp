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
#include <iterator>

#include "token_test.h"

namespace token_test {
namespace {

constexpr CK_BYTE kMask = 0x5A;

/// Bytes that this test knows only masked, so as not to find its own.
class Secret {
 public:
  Secret() {
    RAND_bytes(m_masked.data(), static_cast<int>(m_masked.size()));
    m_masked[0] &= 0x7F;  // a scalar below the order, once the mask is off
  }

  /// Gives the bytes to `use` and overwrites them.
  template <typename Use>
  auto with(Use use) const {
    std::array<CK_BYTE, 32> clear = m_masked;
    for (CK_BYTE& byte : clear) {
      byte ^= kMask;
    }
    const auto result = use(clear.data(), clear.size());
    OPENSSL_cleanse(clear.data(), clear.size());
    return result;
  }

  /// The other order of the bytes: libcrypto's of a number.
  Secret reversed() const {
    Secret turned = *this;
    std::reverse(turned.m_masked.begin(), turned.m_masked.end());
    return turned;
  }

  bool is_in(const Value& memory) const {
    const auto same = [](CK_BYTE found, CK_BYTE masked) { return found == (masked ^ kMask); };
    return std::search(memory.begin(), memory.end(), m_masked.begin(), m_masked.end(), same) != memory.end();
  }

 private:
  std::array<CK_BYTE, 32> m_masked{};
};

/// The mappings of this process that can be written to and hold the secret.
std::vector<std::string> places_of(const Secret& secret) {
  std::vector<std::string> places;
  std::ifstream maps("/proc/self/maps");
  const int memory = ::open("/proc/self/mem", O_RDONLY);
  for (std::string line; std::getline(maps, line);) {
    unsigned long first = 0, end = 0;
    char rights[5] = {};
    std::sscanf(line.c_str(), "%lx-%lx %4s", &first, &end, rights);
    constexpr unsigned long kSanitizersOwn = 1UL << 24;  // its shadow has terabytes
    if (rights[1] != 'w' || end - first > kSanitizersOwn) {
      continue;
    }
    Value content(end - first);
    const ssize_t length = ::pread(memory, content.data(), content.size(), static_cast<off_t>(first));
    content.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    if (secret.is_in(content)) {
      places.push_back(line);
    }
    OPENSSL_cleanse(content.data(), content.size());
  }
  ::close(memory);
  return places;
}

class SecretsTest : public TokenTest {
 protected:
  Answer import(const Secret& scalar, CK_OBJECT_HANDLE* key) {
    return scalar.with([&](CK_BYTE* value, CK_ULONG length) {
      CK_OBJECT_CLASS object_class = CKO_PRIVATE_KEY;
      CK_KEY_TYPE type = CKK_EC;
      CK_BBOOL yes = CK_TRUE;
      CK_ATTRIBUTE object[] = {{CKA_CLASS, &object_class, sizeof object_class},
                               {CKA_KEY_TYPE, &type, sizeof type},
                               {CKA_TOKEN, &yes, 1},
                               {CKA_EC_PARAMS, const_cast<CK_BYTE*>(kP256.data()), kP256.size()},
                               {CKA_VALUE, value, length}};
      return answer(m_token->C_CreateObject(m_session, object, 5, key));
    });
  }
};

TEST_F(SecretsTest, NeitherPinNorKeyStaysInMemoryOrComesIntoAFile) {
  const Secret pin, scalar;
  ASSERT_EQ(pin.with([&](CK_BYTE* value, CK_ULONG length) {
    return answer(
        m_token->C_SetPIN(m_session, const_cast<CK_BYTE*>(kPin.data()), kPin.size(), value, length));
  }),
            OK);
  ASSERT_EQ(pin.with([&](CK_BYTE* value, CK_ULONG length) {
    return answer(m_token->C_Login(m_session, CKU_USER, value, length));
  }),
            OK);
  CK_OBJECT_HANDLE key = 0, copy = 0, session_copy = 0;
  ASSERT_EQ(import(scalar, &key), OK);
  Template for_session = Template().flag(CKA_TOKEN, false);
  ASSERT_EQ(answer(m_token->C_CopyObject(m_session, key, nullptr, 0, &copy)), OK);
  ASSERT_EQ(answer(m_token->C_CopyObject(m_session, key, for_session.data(), 1, &session_copy)), OK);
  Value result(64);
  for (const CK_OBJECT_HANDLE each : {key, copy, session_copy}) {
    EXPECT_EQ(read(each, CKA_VALUE, result), answer(CKR_ATTRIBUTE_SENSITIVE));
    EXPECT_EQ(sign(each, CKM_ECDSA_SHA256, {1}, result), OK);
  }
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  ASSERT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, copy)), OK);
  EXPECT_THAT(places_of(scalar.reversed()), testing::Not(testing::IsEmpty())) << "a key at work can be found";

  ASSERT_EQ(answer(m_token->C_Logout(m_session)), OK);
  EXPECT_THAT(places_of(scalar), testing::IsEmpty());
  EXPECT_THAT(places_of(scalar.reversed()), testing::IsEmpty());
  EXPECT_THAT(places_of(pin), testing::IsEmpty());
  for (const auto& entry : std::filesystem::directory_iterator(folder())) {
    std::ifstream file(entry.path(), std::ios::binary);
    const Value content(std::istreambuf_iterator<char>(file), {});
    EXPECT_FALSE(content.empty() || scalar.is_in(content) || pin.is_in(content)) << entry.path();
  }
}

}  // namespace
}  // namespace token_test
