// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/p11_low_level.h>
#include <dlfcn.h>

#include <algorithm>

namespace Botan {

Dynamically_Loaded_Library::Dynamically_Loaded_Library(const std::string& lib_name)
    : m_lib_name(lib_name), m_lib(::dlopen(lib_name.c_str(), RTLD_LAZY)) {
  if (m_lib == nullptr) {
    throw System_Error("Failed to load " + lib_name + ": " + ::dlerror());
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

namespace PKCS11 {

ReturnValue* ThrowException = reinterpret_cast<ReturnValue*>(-1);

namespace {

/// Two calls: the first returns the number of entries, the second the entries. Only one if there are none.
template <typename Entry, typename Function>
bool read_list(std::vector<Entry>& entries, Function function) {
  entries.clear();
  Ulong count = 0;
  if (!function(nullptr, &count)) {
    return false;
  }
  if (count == 0) {
    return true;
  }
  entries.resize(count);
  if (!function(entries.data(), &count)) {
    return false;
  }
  entries.resize(std::min<size_t>(entries.size(), count));  // there may be fewer by now
  return true;
}

}  // namespace

LowLevel::LowLevel(FunctionListPtr ptr) : m_func_list_ptr(ptr) {
  if (ptr == nullptr) {
    throw Invalid_Argument("Invalid PKCS#11 function list ptr");
  }
}

bool LowLevel::C_GetFunctionList(Dynamically_Loaded_Library& pkcs11_module,
                                 FunctionListPtr* function_list_ptr_ptr, ReturnValue* rv) {
  const auto get_function_list = pkcs11_module.resolve<CK_C_GetFunctionList>("C_GetFunctionList");
  return check(get_function_list(function_list_ptr_ptr), rv);
}

bool LowLevel::C_GetSlotList(bool token_present, std::vector<SlotId>& slots, ReturnValue* rv) const {
  return read_list(slots, [&](SlotId* to, Ulong* count) {
    return C_GetSlotList(token_present ? True : False, to, count, rv);
  });
}

bool LowLevel::C_GetMechanismList(SlotId slot, std::vector<MechanismType>& mechanisms,
                                  ReturnValue* rv) const {
  return read_list(mechanisms,
                   [&](MechanismType* to, Ulong* count) { return C_GetMechanismList(slot, to, count, rv); });
}

bool LowLevel::check(CK_RV result, ReturnValue* rv) {
  const auto return_value = static_cast<ReturnValue>(result);
  if (rv != nullptr && rv != ThrowException) {
    *rv = return_value;
  } else if (rv == ThrowException && return_value != ReturnValue::OK) {
    throw PKCS11_ReturnError(return_value);
  }
  return return_value == ReturnValue::OK;
}

}  // namespace PKCS11
}  // namespace Botan
