// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_types.h>
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>

namespace Botan {
namespace PKCS11 {

namespace {

struct Gate {
  uint64_t generation;  // 0, and one more in each forked child
  std::mutex mutex{};
  std::condition_variable free{};
  uint64_t holder = 0;  // a thread_number(), or 0
};

/// Never destroyed, because a static Module may be destroyed after any other static object. A forked child
/// gets a new gate: the threads that hold it, wait for it or have locked its mutex do not exist there.
Gate& gate() {
  alignas(Gate) static unsigned char storage[sizeof(Gate)];
  static uint64_t generation = 0;
  static Gate* const gate = [] {
    if (::pthread_atfork(nullptr, nullptr, [] { new (storage) Gate{++generation}; }) != 0) {
      throw std::bad_alloc();
    }
    return new (storage) Gate{generation};
  }();
  return *gate;
}

/// Unlike a std::thread::id, not used again after the thread has ended.
uint64_t thread_number() {
  static std::atomic<uint64_t> last{0};
  thread_local const uint64_t number = ++last;
  return number;
}

/// libteetoken.so in the folder that this library was loaded from. Without such a file the bare name, which
/// the loader searches for.
std::string installed_token() {
  const std::string name = "libteetoken.so";
  Dl_info self = {};
  if (::dladdr(reinterpret_cast<void*>(&installed_token), &self) != 0 && self.dli_fname != nullptr) {
    const std::string here = self.dli_fname;
    const std::string beside = here.substr(0, here.rfind('/') + 1) + name;
    if (::access(beside.c_str(), F_OK) == 0) {
      return beside;
    }
  }
  return name;
}

std::string platform_token() {
  const char* const named = ::secure_getenv("TEE_PKCS11_MODULE");
  return named != nullptr && *named != '\0' ? named : installed_token();
}

}  // namespace

/// The right to be the one Module of this process that was made with three arguments.
class ModuleHold {
 public:
  ModuleHold();
  ~ModuleHold();

  ModuleHold(const ModuleHold&) = delete;
  ModuleHold& operator=(const ModuleHold&) = delete;

 private:
  const uint64_t m_generation = gate().generation;
};

ModuleHold::ModuleHold() {
  Gate& g = gate();
  std::unique_lock<std::mutex> lock(g.mutex);
  if (g.holder == thread_number()) {
    throw Invalid_State("PKCS11 module is held by this thread already: destroy the other Module first");
  }
  g.free.wait(lock, [&] { return g.holder == 0; });
  g.holder = thread_number();
}

ModuleHold::~ModuleHold() {
  Gate& g = gate();
  if (m_generation != g.generation) {
    return;  // the parent holds it
  }
  const std::lock_guard<std::mutex> lock(g.mutex);
  g.holder = 0;
  g.free.notify_one();
}

Module::Module(const std::string& file_path, C_InitializeArgs init_args) : m_file_path(file_path) {
  if (file_path.empty()) {
    throw Invalid_Argument("PKCS11 no module path specified");
  }
  reload(init_args);
}

Module::Module(const std::string& file_path, C_InitializeArgs init_args, LowLevel* low_level)
    : m_hold(new ModuleHold),
      m_file_path(file_path.empty() ? platform_token() : file_path),
      m_given_low_level(low_level != nullptr ? new LowLevel(*low_level) : nullptr) {
  reload(init_args);
}

Module::Module(Module&& other) noexcept = default;

Module::~Module() noexcept {
  clean_up([](const LowLevel& token) { token.C_Finalize(nullptr, nullptr); });
}

uint64_t Module::generation() { return gate().generation; }

void Module::reload(C_InitializeArgs init_args) {
  if (m_low_level != nullptr) {
    m_low_level->C_Finalize(nullptr);
  }

  std::unique_ptr<Dynamically_Loaded_Library> library(new Dynamically_Loaded_Library(m_file_path));
  std::unique_ptr<LowLevel> low_level;
  if (m_given_low_level != nullptr) {
    low_level.reset(new LowLevel(*m_given_low_level));
  } else {
    FunctionListPtr functions = nullptr;
    LowLevel::C_GetFunctionList(*library, &functions);
    low_level.reset(new LowLevel(functions));
  }
  m_low_level = std::move(low_level);
  m_library = std::move(library);
  m_generation = generation();

  m_low_level->C_Initialize(&init_args);
}

Info Module::get_info() const {
  Info info = {};
  m_low_level->C_GetInfo(&info);
  return info;
}

}  // namespace PKCS11
}  // namespace Botan
