// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/p11_types.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "module_hold.h"

namespace Botan {
namespace PKCS11 {

namespace {

/// libteetoken.so in the folder that this library was loaded from, or its bare name, for the loader to
/// search.
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
  if (m_low_level == nullptr) {
    return;
  }
  try {
    m_low_level->C_Finalize(nullptr, nullptr);
  } catch (...) {
    // nobody is left to tell
  }
}

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

  m_low_level->C_Initialize(&init_args);
}

Info Module::get_info() const {
  Info info = {};
  m_low_level->C_GetInfo(&info);
  return info;
}

}  // namespace PKCS11
}  // namespace Botan
