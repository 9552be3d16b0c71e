// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/spytoken.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <type_traits>

namespace test_support {

namespace {

constexpr CK_SLOT_ID kOneMoreSlot = 4711;

bool holds_secret(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  return std::any_of(attributes, attributes + count, [](const CK_ATTRIBUTE& attribute) {
    CK_OBJECT_CLASS object_class = CKO_DATA;
    if (attribute.type == CKA_CLASS && attribute.ulValueLen == sizeof object_class) {
      std::memcpy(&object_class, attribute.pValue, sizeof object_class);
    }
    return object_class == CKO_PRIVATE_KEY || object_class == CKO_SECRET_KEY;
  });
}

void write_value(std::ostream& out, const CK_ATTRIBUTE& attribute) {
  const auto* const bytes = static_cast<const std::uint8_t*>(attribute.pValue);
  out << std::hex << std::setfill('0');
  std::for_each(bytes, bytes + (bytes != nullptr ? attribute.ulValueLen : 0),
                [&](int byte) { out << std::setw(2) << byte; });
  out << std::dec;
}

std::string list_of(const CK_ULONG* numbers, CK_ULONG count) {
  std::ostringstream text;
  std::for_each(numbers, numbers + (numbers != nullptr ? count : 0), [&](CK_ULONG n) { text << ' ' << n; });
  return text.str();
}

/// Writes arguments one after another; a template waits for its count.
class Arguments {
 public:
  template <typename Argument>
  void add(Argument argument) {
    if constexpr (std::is_same_v<Argument, CK_ATTRIBUTE*>) {
      m_template = argument;
    } else if constexpr (std::is_same_v<Argument, CK_MECHANISM*>) {
      m_text << ' ' << std::hex << (argument != nullptr ? argument->mechanism : 0) << std::dec;
    } else if constexpr (std::is_integral_v<Argument>) {
      m_template ? m_text << ' ' << text_of(*m_template, argument) : m_text << ' ' << +argument;
      m_template.reset();
    }
  }
  std::string text() const { return m_text.str(); }

 private:
  std::ostringstream m_text;
  std::optional<const CK_ATTRIBUTE*> m_template;
};

template <typename... Types>
std::string text_of_arguments(Types... each) {
  Arguments arguments;
  (arguments.add(each), ...);
  return arguments.text();
}

/// The numbers that a call gave back through its pointers.
template <typename... Types>
std::string numbers_of(Types... each) {
  std::string text;
  const auto add = [&](auto argument) {
    if constexpr (std::is_same_v<decltype(argument), CK_ULONG*>) text += list_of(argument, 1);
  };
  (add(each), ...);
  return text;
}

template <auto member>
struct Spied;

template <typename... Types, CK_RV (*CK_FUNCTION_LIST::*member)(Types...)>
struct Spied<member> {
  static inline const char* name = "";
  static CK_RV call(Types... each) {
    const auto function = spytoken().module().cryptoki->*member;
    return spytoken().call(
        name, text_of_arguments(each...),
        [&] { return function != nullptr ? function(each...) : CKR_FUNCTION_NOT_SUPPORTED; },
        [&] { return numbers_of(each...); });
  }
};

CK_RV initialize(void* arguments) {
  const CK_ULONG flags = arguments != nullptr ? static_cast<CK_C_INITIALIZE_ARGS*>(arguments)->flags : ~0UL;
  return spytoken().call(
      "C_Initialize", text_of_arguments(flags),
      [&] { return spytoken().module().cryptoki->C_Initialize(arguments); }, [] { return ""; });
}

std::vector<CK_SLOT_ID> slots_shown(CK_BBOOL present, CK_RV& code) {
  const auto function = spytoken().module().cryptoki->C_GetSlotList;
  CK_ULONG count = 0;
  code = function(present, nullptr, &count);
  std::vector<CK_SLOT_ID> slots(count);
  if (code == CKR_OK && count != 0) code = function(present, slots.data(), &count);
  if (spytoken().slots() == Slots::kOneMore) slots.push_back(kOneMoreSlot);
  if (spytoken().slots() == Slots::kNone) slots.clear();
  return slots;
}

CK_RV get_slot_list(CK_BBOOL present, CK_SLOT_ID* slots, CK_ULONG* count) {
  const auto forward = [&] {
    CK_RV code = CKR_OK;
    const std::vector<CK_SLOT_ID> shown = slots_shown(present, code);
    if (code == CKR_OK && slots != nullptr && *count < shown.size()) code = CKR_BUFFER_TOO_SMALL;
    if (code == CKR_OK && slots != nullptr) std::copy(shown.begin(), shown.end(), slots);
    *count = shown.size();
    return code;
  };
  return spytoken().call("C_GetSlotList", text_of_arguments(present), forward,
                         [&] { return slots != nullptr ? list_of(slots, *count) : list_of(count, 1); });
}

CK_RV find_objects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG room, CK_ULONG* count) {
  return spytoken().call(
      "C_FindObjects", text_of_arguments(session, room),
      [&] { return spytoken().module().cryptoki->C_FindObjects(session, objects, room, count); },
      [&] { return list_of(objects, *count); });
}

CK_RV get_attribute_value(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes,
                          CK_ULONG count) {
  std::vector<CK_ATTRIBUTE> asked(attributes, attributes + count);
  for (CK_ATTRIBUTE& each : asked) each.pValue = nullptr;
  const auto lengths = [&] {
    std::string text;
    std::for_each(attributes, attributes + count,
                  [&](const CK_ATTRIBUTE& each) { text += list_of(&each.ulValueLen, 1); });
    return text;
  };
  const auto forward = [&] {
    return spytoken().module().cryptoki->C_GetAttributeValue(session, object, attributes, count);
  };
  return spytoken().call("C_GetAttributeValue", text_of_arguments(session, object, asked.data(), count),
                         forward, lengths);
}

CK_RV set_client_cert(CK_SESSION_HANDLE session, const CK_OBJECT_HANDLE* installed, CK_ULONG installed_count,
                      const CK_OBJECT_HANDLE* added, CK_ULONG added_count) {
  const std::string handles =
      " [" + list_of(installed, installed_count) + " ] [" + list_of(added, added_count) + " ]";
  const auto forward = [&] {
    return spytoken().module().vendor->set_client_cert_and_move_key(session, installed, installed_count,
                                                                    added, added_count);
  };
  return spytoken().call("set_client_cert_and_move_key", text_of_arguments(session) + handles, forward,
                         [] { return ""; });
}

CK_FUNCTION_LIST make_functions() {
  CK_FUNCTION_LIST list = {};
  list.version = {2, 40};
  const auto spy = [&list](auto spied, auto member, const char* name) {
    spied.name = name;
    list.*member = decltype(spied)::call;
  };
#define SPY(function) spy(Spied<&CK_FUNCTION_LIST::function>(), &CK_FUNCTION_LIST::function, #function)
  SPY(C_Finalize), SPY(C_GetInfo), SPY(C_GetSlotInfo), SPY(C_GetTokenInfo), SPY(C_GetMechanismList);
  SPY(C_GetMechanismInfo), SPY(C_InitToken), SPY(C_InitPIN), SPY(C_SetPIN), SPY(C_OpenSession);
  SPY(C_CloseSession), SPY(C_CloseAllSessions), SPY(C_GetSessionInfo), SPY(C_GetOperationState);
  SPY(C_SetOperationState), SPY(C_Login), SPY(C_Logout), SPY(C_CreateObject), SPY(C_CopyObject);
  SPY(C_DestroyObject), SPY(C_GetObjectSize), SPY(C_SetAttributeValue), SPY(C_FindObjectsInit);
  SPY(C_FindObjectsFinal), SPY(C_EncryptInit), SPY(C_Encrypt), SPY(C_EncryptUpdate), SPY(C_EncryptFinal);
  SPY(C_DecryptInit), SPY(C_Decrypt), SPY(C_DecryptUpdate), SPY(C_DecryptFinal), SPY(C_DigestInit);
  SPY(C_Digest), SPY(C_DigestUpdate), SPY(C_DigestKey), SPY(C_DigestFinal), SPY(C_SignInit), SPY(C_Sign);
  SPY(C_SignUpdate), SPY(C_SignFinal), SPY(C_SignRecoverInit), SPY(C_SignRecover), SPY(C_VerifyInit);
  SPY(C_Verify), SPY(C_VerifyUpdate), SPY(C_VerifyFinal), SPY(C_VerifyRecoverInit), SPY(C_VerifyRecover);
  SPY(C_DigestEncryptUpdate), SPY(C_DecryptDigestUpdate), SPY(C_SignEncryptUpdate);
  SPY(C_DecryptVerifyUpdate), SPY(C_GenerateKey), SPY(C_GenerateKeyPair), SPY(C_WrapKey), SPY(C_UnwrapKey);
  SPY(C_DeriveKey), SPY(C_SeedRandom), SPY(C_GenerateRandom), SPY(C_GetFunctionStatus);
  SPY(C_CancelFunction), SPY(C_WaitForSlotEvent);
#undef SPY
  list.C_GetFunctionList = C_GetFunctionList;
  list.C_Initialize = initialize;
  list.C_GetSlotList = get_slot_list;
  list.C_FindObjects = find_objects;
  list.C_GetAttributeValue = get_attribute_value;
  return list;
}

template <typename Function>
Function symbol_of(void* library, const char* name) {
  return reinterpret_cast<Function>(::dlsym(library, name));
}

/// A spy that cannot see is no use to any test.
[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "spytoken: %s\n", what);
  std::abort();
}

ModuleFunctions load_named_module() {
  const char* const path = std::getenv("SPYTOKEN_MODULE");
  if (path == nullptr) give_up("SPYTOKEN_MODULE does not name a module to forward to");
  void* const library = ::dlopen(path, RTLD_NOW);
  if (library == nullptr) give_up(::dlerror());
  ModuleFunctions functions;
  CK_FUNCTION_LIST* cryptoki = nullptr;
  const auto get_list = symbol_of<CK_C_GetFunctionList>(library, "C_GetFunctionList");
  if (get_list == nullptr || get_list(&cryptoki) != CKR_OK) give_up("the module has no function list");
  functions.cryptoki = cryptoki;
  TEE_INTERFACE* interface = nullptr;
  unsigned char name[] = TEE_INTERFACE_NAME;
  const auto get_interface = symbol_of<TEE_C_GetInterface>(library, "C_GetInterface");
  if (get_interface != nullptr && get_interface(name, nullptr, &interface, 0) == CKR_OK) {
    functions.vendor = static_cast<const TEE_FUNCTION_LIST*>(interface->functions);
  }
  return functions;
}

}  // namespace

std::string text_of(const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  const bool secret = holds_secret(attributes, count);
  std::ostringstream text;
  for (CK_ULONG i = 0; i < count; ++i) {
    text << (i == 0 ? "" : " ") << std::hex << attributes[i].type << std::dec << '=';
    if (secret && attributes[i].type == CKA_VALUE) {
      text << '*' << attributes[i].ulValueLen;
    } else {
      write_value(text, attributes[i]);
    }
  }
  return "[" + text.str() + "]";
}

SpyToken& spytoken() {
  static SpyToken& spy = *new SpyToken;  // programs may call modules while they exit
  return spy;
}

void SpyToken::reset() {
  m_interferences.clear();
  m_calls.clear();
  m_slots = Slots::kAsTheyAre;
  m_module = {};
  observer = nullptr;
}

const ModuleFunctions& SpyToken::module() {
  const std::lock_guard<std::mutex> lock(m_mutex);
  if (m_module.cryptoki == nullptr) m_module = load_named_module();
  return m_module;
}

void SpyToken::answer(const std::string& function, CK_RV code) {
  Interference each;
  each.function = function;
  each.answer = code;
  interfere(each);
}

std::vector<std::string> SpyToken::take_texts() {
  std::vector<std::string> texts;
  for (const SpiedCall& call : take_calls()) texts.push_back(call.text);
  return texts;
}

std::optional<Interference> SpyToken::due(const std::string& function, bool after) {
  const std::lock_guard<std::mutex> lock(m_mutex);
  std::optional<Interference> found;
  for (Interference& each : m_interferences) {
    if (each.after != after || (!each.function.empty() && each.function != function)) continue;
    ++each.seen;
    if (each.nth == 0 || each.nth == each.seen) found = each;
  }
  return found;
}

std::optional<CK_RV> SpyToken::interfered(const std::string& function, bool after) {
  const auto interference = due(function, after);
  if (!interference) return std::nullopt;
  std::this_thread::sleep_for(interference->delay);
  if (interference->ends_process) ::_exit(0);
  return interference->answer;
}

CK_RV SpyToken::call(const std::string& function, const std::string& arguments,
                     const std::function<CK_RV()>& forward, const std::function<std::string()>& results) {
  const auto before = interfered(function, false);
  const CK_RV answered = before ? *before : forward();
  const CK_RV code = interfered(function, true).value_or(answered);
  const SpiedCall call = {function, function + arguments, code, code == CKR_OK ? results() : "",
                          std::this_thread::get_id()};
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(call);
  }
  if (observer) observer(call);
  return code;
}

}  // namespace test_support

using namespace test_support;

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  static CK_FUNCTION_LIST functions = make_functions();
  return spytoken().call(
      "C_GetFunctionList", "", [&] { return *list = &functions, CKR_OK; }, [] { return ""; });
}

extern "C" CK_RV C_GetInterface(unsigned char* name, CK_VERSION*, TEE_INTERFACE** interface, CK_FLAGS) {
  static TEE_FUNCTION_LIST functions = {{1, 0}, set_client_cert};
  static TEE_INTERFACE ours = {nullptr, &functions, 0};
  const auto forward = [&]() -> CK_RV {
    if (spytoken().module().vendor == nullptr ||
        std::strcmp(reinterpret_cast<char*>(name), TEE_INTERFACE_NAME) != 0) {
      return CKR_FUNCTION_FAILED;
    }
    *interface = &ours;
    return CKR_OK;
  };
  return spytoken().call("C_GetInterface", "", forward, [] { return ""; });
}
