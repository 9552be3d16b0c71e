// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/secure_memory.h"

#include <openssl/crypto.h>
#include <sys/mman.h>

#include <memory_resource>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace tee_token {
namespace {

// Longer values (certificates, data) would take more memory than a process may lock. A sanitizer sees
// nothing of a pool, so it gets none.
#ifdef CCI_SANITIZED
constexpr std::size_t kLongest = 0;
#else
constexpr std::size_t kLongest = 1024;
#endif

class LockedPages : public std::pmr::memory_resource {
 public:
  void lock() noexcept {
    for (const Range& range : m_all) {
      static_cast<void>(::mlock(range.first, range.second));
    }
  }

 private:
  using Range = std::pair<void*, std::size_t>;

  void* do_allocate(std::size_t size, std::size_t) override {
    void* const pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
      throw std::bad_alloc();
    }
    static_cast<void>(::madvise(pages, size, MADV_DONTDUMP));
    m_all.push_back({pages, size});
    lock();
    return pages;
  }
  void do_deallocate(void* pages, std::size_t size, std::size_t) override { ::munmap(pages, size); }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  std::vector<Range> m_all;
};

struct Pool {
  std::mutex mutex;
  LockedPages pages;
  std::pmr::monotonic_buffer_resource chunks{std::size_t{32} * 1024, &pages};
  std::pmr::unsynchronized_pool_resource blocks{{16, kLongest}, &chunks};
};

// Never destroyed: calls may come while the program exits.
Pool& pool() {
  static Pool& only = *new Pool;
  return only;
}

}  // namespace

void* allocate_secure(std::size_t size) {
  if (size > kLongest) {
    return ::operator new(size);
  }
  const std::lock_guard<std::mutex> lock(pool().mutex);
  return pool().blocks.allocate(size);
}

void free_secure(void* memory, std::size_t size) noexcept {
  OPENSSL_cleanse(memory, size);
  if (size > kLongest) {
    ::operator delete(memory);
    return;
  }
  const std::lock_guard<std::mutex> lock(pool().mutex);
  pool().blocks.deallocate(memory, size);
}

void lock_secure_memory() noexcept { pool().pages.lock(); }

}  // namespace tee_token
