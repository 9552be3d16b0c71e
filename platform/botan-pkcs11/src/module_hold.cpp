// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "module_hold.h"

#include <botan/exceptn.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>

namespace Botan {
namespace PKCS11 {

namespace {

struct Gate {
  std::mutex mutex;
  std::condition_variable free;
  uint64_t holder = 0;  // a thread_number(), 0 when there is none
};

/// The gate outlives every Module, those with static storage too. A forked child begins with a new one: the
/// threads that hold it, wait at it or have locked its mutex are not in the child.
Gate& gate() {
  alignas(Gate) static unsigned char storage[sizeof(Gate)];
  static Gate* const gate = [] {
    ::pthread_atfork(nullptr, nullptr, [] { new (storage) Gate; });
    return new (storage) Gate;
  }();
  return *gate;
}

/// Unlike a std::thread::id, never used again after the thread's end.
uint64_t thread_number() {
  static std::atomic<uint64_t> last{0};
  thread_local const uint64_t number = ++last;
  return number;
}

}  // namespace

ModuleHold::ModuleHold() : m_process(::getpid()) {
  Gate& g = gate();
  std::unique_lock<std::mutex> lock(g.mutex);
  if (g.holder == thread_number()) {
    throw Invalid_State("PKCS11 module is held by this thread already: destroy the other Module first");
  }
  g.free.wait(lock, [&] { return g.holder == 0; });
  g.holder = thread_number();
}

ModuleHold::~ModuleHold() {
  if (m_process != ::getpid()) {
    return;  // inherited through fork: the hold is the parent's
  }
  Gate& g = gate();
  const std::lock_guard<std::mutex> lock(g.mutex);
  g.holder = 0;
  g.free.notify_one();
}

}  // namespace PKCS11
}  // namespace Botan
