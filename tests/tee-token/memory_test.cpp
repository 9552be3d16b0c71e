// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Allocations of the module and of its libraries fail. The sanitizers have allocators of their own.
#ifndef CCI_SANITIZED
#include <sys/wait.h>
#include <unistd.h>

#include "token_test.h"

static long s_allocations_left = -1;  // until one fails; negative: none does
static long s_left_then = -1;         // 0: none succeeds from then on

static bool fails() {
  if (s_allocations_left != 0) return s_allocations_left -= s_allocations_left > 0, false;
  s_allocations_left = s_left_then;
  return true;
}

#define REPLACE(name, parameters, ...)                                      \
  extern "C" void* __libc_##name parameters;                                \
  extern "C" __attribute__((visibility("default"))) void* name parameters { \
    return fails() ? nullptr : __libc_##name(__VA_ARGS__);                  \
  }
REPLACE(malloc, (std::size_t size), size)
REPLACE(calloc, (std::size_t count, std::size_t size), count, size)
REPLACE(realloc, (void* old, std::size_t size), old, size)

namespace token_test {

struct MemoryTest : TokenTest {
  bool works() {
    m_token->C_Initialize(nullptr);
    return open() == OK && (logout(), login() == OK) && sign(generate()[1]) == OK;
  }
};

TEST_F(MemoryTest, AfterFailedAllocationsTheNextCallsWorkAndNoTryAtThePinIsLost) {
  int status = 0;  // of the child: 0; 1 after a fault; 2 when no allocation has failed
  // Most allocations make the library context; a few of them stand for all.
  long n = 0;
  for (; status == 0; n += n > 500 && n < 5000 ? 61 : 3) {
    if (::fork() == 0) {
      s_left_then = n % 2 - 1;
      s_allocations_left = n;
      try {
        works();
      } catch (const std::bad_alloc&) {
        // in this test itself
      }
      const int end = std::exchange(s_allocations_left, -1) <= 0 ? 0 : 2;
      const bool has_all_tries = content_of(file("pin-tries")).at(0) == 0;
      ::_exit(has_all_tries && works() ? end : 1);
    }
    ::wait(&status);
    ASSERT_TRUE(status == 0 || status == 2 << 8) << "allocation " << n;
  }
  EXPECT_GT(n, 1000) << "too few for a session";
}

}  // namespace token_test
#endif
