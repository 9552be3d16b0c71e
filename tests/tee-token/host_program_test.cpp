// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// What the program that loads the module has done to libcrypto, which both use, changes nothing in the
// module.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/err.h>
#include <openssl/rand.h>

#include "base/error.h"
#include "crypto/openssl_handles.h"
#include "token_test.h"

namespace token_test {
namespace {

using HostProgramTest = TokenTest;

int constant_bytes(unsigned char* bytes, int count) {
  std::memset(bytes, 7, static_cast<std::size_t>(count));
  return 1;
}

TEST_F(HostProgramTest, ItsRandomNumbersAreNotTheTokens) {
  static const RAND_METHOD constant = {nullptr, constant_bytes, nullptr, nullptr, constant_bytes, nullptr};
  ASSERT_EQ(login(), OK);
  ASSERT_EQ(RAND_set_rand_method(&constant), 1);
  Value taken(32);
  EXPECT_EQ(answer(m_token->C_GenerateRandom(m_session, taken.data(), taken.size())), OK);
  const Handles first = generate(), second = generate();
  EXPECT_EQ(RAND_set_rand_method(nullptr), 1);
  EXPECT_NE(taken, Value(32, 7));
  ASSERT_EQ(first.size(), 2U);
  ASSERT_EQ(second.size(), 2U);
  EXPECT_NE(value_of(first[0], CKA_EC_POINT), value_of(second[0], CKA_EC_POINT));
}

TEST_F(HostProgramTest, ItsErrorsAreNotTakenForTheTokensAndStay) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
  const unsigned long error = ERR_peek_last_error();
  {
    const tee_token::OpensslErrors own;
    try {
      tee_token::require_openssl(false, "a step");
      ADD_FAILURE();
    } catch (const tee_token::Failure& failure) {
      EXPECT_STREQ(failure.what(), "a step failed in libcrypto: no reason given");
    }
    ERR_raise(ERR_LIB_EC, ERR_R_EC_LIB);
  }
  EXPECT_EQ(ERR_get_error(), error);
  EXPECT_EQ(ERR_get_error(), 0U);

  CK_OBJECT_HANDLE key = 0;
  ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
  const Value no_point(67, 1);
  EXPECT_NE(create(Class(CKO_PUBLIC_KEY)
                       .number(CKA_KEY_TYPE, CKK_EC)
                       .add(CKA_EC_PARAMS, kP256)
                       .add(CKA_EC_POINT, no_point),
                   &key),
            OK);
  EXPECT_EQ(ERR_get_error(), error);
}

}  // namespace
}  // namespace token_test
