// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/exceptn.h>
#include <dlfcn.h>

namespace Botan {

Dynamically_Loaded_Library::Dynamically_Loaded_Library(const std::string& lib_name)
    : m_lib_name(lib_name), m_lib(::dlopen(lib_name.c_str(), RTLD_LAZY)) {
  if (m_lib == nullptr) {
    throw System_Error("Failed to load " + lib_name + ": " + ::dlerror(), 0);
  }
}

Dynamically_Loaded_Library::~Dynamically_Loaded_Library() { ::dlclose(m_lib); }

void* Dynamically_Loaded_Library::resolve_symbol(const std::string& symbol) {
  void* const address = ::dlsym(m_lib, symbol.c_str());
  if (address == nullptr) {
    throw Invalid_Argument("Failed to resolve symbol " + symbol + " in " + m_lib_name);
  }
  return address;
}

}  // namespace Botan
