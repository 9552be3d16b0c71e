// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/spytoken.h"

#include <dlfcn.h>

#include <cstdlib>
#include <iomanip>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace test_support {

namespace {

std::string text_of(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (CK_ULONG i = 0; i < count; ++i) {
    text << (i == 0 ? "" : " ") << attributes[i].type << '=';
    const auto* const bytes = static_cast<const std::uint8_t*>(attributes[i].pValue);
    for (CK_ULONG at = 0; at < attributes[i].ulValueLen; ++at) text << std::setw(2) << +bytes[at];
  }
  return " [" + text.str() + "]";
}

std::string text_of(const CK_OBJECT_HANDLE* handles, CK_ULONG count) {
  std::string text = " [";
  for (CK_ULONG i = 0; i < count; ++i) text += " " + std::to_string(handles[i]);
  return text + " ]";
}

/// The arguments one after another; a list waits for its count. Other pointers are left out.
template <typename... Types>
std::string text_of_arguments(const std::string& function, Types... arguments) {
  if (function == "C_GetAttributeValue") return "";
  std::ostringstream text;
  std::function<std::string(CK_ULONG)> list;
  const auto add = [&](auto argument) {
    using Argument = decltype(argument);
    if constexpr (std::is_same_v<Argument, CK_ATTRIBUTE*> ||
                  std::is_same_v<Argument, const CK_OBJECT_HANDLE*>) {
      list = [=](CK_ULONG count) { return text_of(argument, count); };
    } else if constexpr (std::is_same_v<Argument, CK_MECHANISM*>) {
      text << ' ' << std::hex << argument->mechanism << std::dec;
    } else if constexpr (std::is_same_v<Argument, void*>) {  // set for C_Initialize alone
      if (argument != nullptr) text << ' ' << static_cast<CK_C_INITIALIZE_ARGS*>(argument)->flags;
    } else if constexpr (std::is_integral_v<Argument>) {
      list ? text << list(argument) : text << ' ' << +argument;
      list = nullptr;
    }
  };
  (add(arguments), ...);
  return text.str();
}

/// A function of this module, which forwards to the one of that name in the module's list.
#define SPY_ON(list, function)                                                                \
  [](auto... arguments) -> CK_RV {                                                            \
    return spytoken().call(#function, text_of_arguments(#function, arguments...),             \
                           [&] { return spytoken().module().list->function(arguments...); }); \
  }

/// The functions that the library and the layer call.
CK_FUNCTION_LIST make_functions() {
  CK_FUNCTION_LIST list = {};
  list.version = {2, 40};
#define SPY(function) list.function = SPY_ON(cryptoki, function)
  SPY(C_Initialize), SPY(C_Finalize), SPY(C_GetSlotList), SPY(C_GetTokenInfo), SPY(C_InitToken);
  SPY(C_InitPIN), SPY(C_SetPIN), SPY(C_OpenSession), SPY(C_CloseSession), SPY(C_GetSessionInfo);
  SPY(C_Login), SPY(C_Logout), SPY(C_CreateObject), SPY(C_CopyObject), SPY(C_DestroyObject);
  SPY(C_GetAttributeValue), SPY(C_SetAttributeValue), SPY(C_FindObjectsInit), SPY(C_FindObjects);
  SPY(C_FindObjectsFinal), SPY(C_SignInit), SPY(C_Sign), SPY(C_SignUpdate), SPY(C_SignFinal);
  SPY(C_VerifyInit), SPY(C_Verify), SPY(C_VerifyUpdate), SPY(C_VerifyFinal), SPY(C_GenerateKeyPair);
  SPY(C_GenerateRandom), SPY(C_SeedRandom);
#undef SPY
  list.C_GetFunctionList = C_GetFunctionList;
  return list;
}

}  // namespace

SpyToken& spytoken() {
  static SpyToken& spy = *new SpyToken;  // programs may call modules while they exit
  return spy;
}

ModuleFunctions& SpyToken::module() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_module.cryptoki != nullptr) return m_module;
  void* const library = ::dlopen(std::getenv("SPYTOKEN_MODULE"), RTLD_NOW);
  if (library == nullptr) throw std::runtime_error(::dlerror());
  CK_FUNCTION_LIST* cryptoki = nullptr;
  TEE_INTERFACE* interface = nullptr;
  unsigned char name[] = TEE_INTERFACE_NAME;
  reinterpret_cast<CK_C_GetFunctionList>(::dlsym(library, "C_GetFunctionList"))(&cryptoki);
  reinterpret_cast<TEE_C_GetInterface>(::dlsym(library, "C_GetInterface"))(name, nullptr, &interface, 0);
  return m_module = {cryptoki, static_cast<const TEE_FUNCTION_LIST*>(interface->functions)};
}

std::vector<std::string> SpyToken::take_texts() {
  std::vector<std::string> texts;
  for (const SpiedCall& call : take_calls()) texts.push_back(call.text);
  return texts;
}

CK_RV SpyToken::call(const std::string& function, const std::string& arguments,
                     const std::function<CK_RV()>& forward) {
  std::optional<Answer> answer;
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (Answer& each : m_answers) {
      const bool is_meant = each.function.empty() || each.function == function;
      if (is_meant && (++each.seen == each.nth || each.nth == 0)) answer = each;
    }
  }
  CK_RV code = answer && !answer->made ? CKR_OK : forward();
  if (answer) code = answer->code;
  const std::lock_guard<std::mutex> lock(m_mutex);
  m_calls.push_back({function, function + arguments, code, std::this_thread::get_id()});
  if (code == kNoMemory) throw std::bad_alloc();
  return code;
}

}  // namespace test_support

using namespace test_support;

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  static CK_FUNCTION_LIST functions = make_functions();
  return spytoken().call("C_GetFunctionList", "", [&] { return *list = &functions, CKR_OK; });
}

extern "C" CK_RV C_GetInterface(unsigned char*, CK_VERSION*, TEE_INTERFACE** interface, CK_FLAGS) {
  static TEE_FUNCTION_LIST functions = {{1, 0}, SPY_ON(vendor, set_client_cert_and_move_key)};
  static TEE_INTERFACE ours = {nullptr, &functions, 0};
  return spytoken().call("C_GetInterface", "", [&] { return *interface = &ours, CKR_OK; });
}
