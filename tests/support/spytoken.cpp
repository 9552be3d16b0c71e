// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/spytoken.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <type_traits>

namespace test_support {

namespace {

std::string text_of(const CK_ATTRIBUTE* attributes, CK_ULONG count, bool with_values) {
  std::ostringstream text;
  text << std::hex << std::setfill('0');
  for (CK_ULONG i = 0; i < count; ++i) {
    text << (i == 0 ? "" : " ") << attributes[i].type << '=';
    const auto* const bytes = static_cast<const std::uint8_t*>(attributes[i].pValue);
    for (CK_ULONG at = 0; with_values && at < attributes[i].ulValueLen; ++at) {
      text << std::setw(2) << +bytes[at];
    }
  }
  return "[" + text.str() + "]";
}

std::string text_of(const CK_OBJECT_HANDLE* handles, CK_ULONG count) {
  std::string text = " [";
  for (CK_ULONG i = 0; i < count; ++i) text += " " + std::to_string(handles[i]);
  return text + " ]";
}

/// The arguments one after another; a template waits for its count. Other pointers are left out.
template <typename... Types>
std::string text_of_arguments(bool with_values, Types... arguments) {
  std::ostringstream text;
  std::optional<const CK_ATTRIBUTE*> attributes;
  const auto add = [&](auto argument) {
    using Argument = decltype(argument);
    if constexpr (std::is_same_v<Argument, CK_ATTRIBUTE*>) {
      attributes = argument;
    } else if constexpr (std::is_same_v<Argument, CK_MECHANISM*>) {
      text << ' ' << std::hex << (argument != nullptr ? argument->mechanism : 0) << std::dec;
    } else if constexpr (std::is_integral_v<Argument>) {
      attributes ? text << ' ' << text_of(*attributes, argument, with_values) : text << ' ' << +argument;
      attributes.reset();
    }
  };
  (add(arguments), ...);
  return text.str();
}

template <typename Member, typename... Types>
CK_RV forward(const std::string& name, Member member, Types... arguments) {
  return spytoken().call(name, text_of_arguments(name != "C_GetAttributeValue", arguments...),
                         [&] { return (spytoken().module().cryptoki->*member)(arguments...); });
}

CK_RV initialize(void* arguments) {
  const CK_ULONG flags = arguments != nullptr ? static_cast<CK_C_INITIALIZE_ARGS*>(arguments)->flags : ~0UL;
  return spytoken().call("C_Initialize", " " + std::to_string(flags),
                         [&] { return spytoken().module().cryptoki->C_Initialize(arguments); });
}

CK_RV get_slot_list(CK_BBOOL present, CK_SLOT_ID* slots, CK_ULONG* count) {
  return spytoken().call("C_GetSlotList", present ? " 1" : " 0", [&]() -> CK_RV {
    const auto& shown = spytoken().slots;
    if (!shown) return spytoken().module().cryptoki->C_GetSlotList(present, slots, count);
    if (slots != nullptr) std::copy(shown->begin(), shown->end(), slots);
    *count = shown->size();
    return CKR_OK;
  });
}

CK_RV set_client_cert(CK_SESSION_HANDLE session, const CK_OBJECT_HANDLE* installed, CK_ULONG installed_count,
                      const CK_OBJECT_HANDLE* added, CK_ULONG added_count) {
  const auto handles = text_of(installed, installed_count) + text_of(added, added_count);
  return spytoken().call("set_client_cert_and_move_key", " " + std::to_string(session) + handles, [&] {
    return spytoken().module().vendor->set_client_cert_and_move_key(session, installed, installed_count,
                                                                    added, added_count);
  });
}

/// The functions that the library and the layer call.
CK_FUNCTION_LIST make_functions() {
  CK_FUNCTION_LIST list = {};
  list.version = {2, 40};
#define SPY(function)                                                     \
  list.function = [](auto... arguments) -> CK_RV {                        \
    return forward(#function, &CK_FUNCTION_LIST::function, arguments...); \
  }
  SPY(C_Finalize), SPY(C_GetTokenInfo), SPY(C_InitToken), SPY(C_InitPIN), SPY(C_SetPIN), SPY(C_OpenSession);
  SPY(C_CloseSession), SPY(C_GetSessionInfo), SPY(C_Login), SPY(C_Logout), SPY(C_CreateObject);
  SPY(C_CopyObject), SPY(C_DestroyObject), SPY(C_GetAttributeValue), SPY(C_SetAttributeValue);
  SPY(C_FindObjectsInit), SPY(C_FindObjects), SPY(C_FindObjectsFinal), SPY(C_SignInit), SPY(C_Sign);
  SPY(C_SignUpdate), SPY(C_SignFinal), SPY(C_VerifyInit), SPY(C_Verify), SPY(C_VerifyUpdate);
  SPY(C_VerifyFinal), SPY(C_GenerateKeyPair), SPY(C_GenerateRandom), SPY(C_SeedRandom);
#undef SPY
  list.C_GetFunctionList = C_GetFunctionList;
  list.C_Initialize = initialize;
  list.C_GetSlotList = get_slot_list;
  return list;
}

ModuleFunctions load_named_module() {
  const char* const path = std::getenv("SPYTOKEN_MODULE");
  void* const library = path != nullptr ? ::dlopen(path, RTLD_NOW) : nullptr;
  CK_FUNCTION_LIST* cryptoki = nullptr;
  TEE_INTERFACE* interface = nullptr;
  if (library != nullptr) {
    unsigned char name[] = TEE_INTERFACE_NAME;
    reinterpret_cast<CK_C_GetFunctionList>(::dlsym(library, "C_GetFunctionList"))(&cryptoki);
    reinterpret_cast<TEE_C_GetInterface>(::dlsym(library, "C_GetInterface"))(name, nullptr, &interface, 0);
  }
  if (cryptoki == nullptr || interface == nullptr) {
    std::fprintf(stderr, "spytoken: SPYTOKEN_MODULE does not name a module with the vendor interface\n");
    std::abort();
  }
  return {cryptoki, static_cast<const TEE_FUNCTION_LIST*>(interface->functions)};
}

}  // namespace

SpyToken& spytoken() {
  static SpyToken& spy = *new SpyToken;  // programs may call modules while they exit
  return spy;
}

void SpyToken::reset() {
  m_answers.clear();
  m_calls.clear();
  slots.reset();
  m_module = {};
}

const ModuleFunctions& SpyToken::module() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_module.cryptoki == nullptr) m_module = load_named_module();
  return m_module;
}

void SpyToken::answer(const std::string& function, CK_RV code, unsigned nth, bool made) {
  m_answers.push_back({function, code, nth, made});
}

std::vector<std::string> SpyToken::take_texts() {
  std::vector<std::string> texts;
  for (const SpiedCall& call : take_calls()) texts.push_back(call.text);
  return texts;
}

std::optional<SpyToken::Answer> SpyToken::answer_to(const std::string& function) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::optional<Answer> found;
  for (Answer& each : m_answers) {
    if (!each.function.empty() && each.function != function) continue;
    if (++each.seen == each.nth || each.nth == 0) found = each;
  }
  return found;
}

CK_RV SpyToken::call(const std::string& function, const std::string& arguments,
                     const std::function<CK_RV()>& forward) {
  const auto answer = answer_to(function);
  const CK_RV forwarded = answer && !answer->made ? CKR_OK : forward();
  const SpiedCall call = {function, function + arguments, answer ? answer->code : forwarded,
                          std::this_thread::get_id()};
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(call);
  }
  return call.code;
}

}  // namespace test_support

using namespace test_support;

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  static CK_FUNCTION_LIST functions = make_functions();
  return spytoken().call("C_GetFunctionList", "", [&] { return *list = &functions, CKR_OK; });
}

extern "C" CK_RV C_GetInterface(unsigned char*, CK_VERSION*, TEE_INTERFACE** interface, CK_FLAGS) {
  static TEE_FUNCTION_LIST functions = {{1, 0}, set_client_cert};
  static TEE_INTERFACE ours = {nullptr, &functions, 0};
  return spytoken().call("C_GetInterface", "", [&] { return *interface = &ours, CKR_OK; });
}
