#include "fake_token.h"

#include <tee_token/vendor_interface.h>

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <tuple>
#include <type_traits>

namespace {

std::unique_ptr<FakeToken> current;

void write(std::ostream& out, const CK_ATTRIBUTE* attributes, CK_ULONG count) {
  out << " [" << std::hex << std::setfill('0');
  for (const CK_ATTRIBUTE* a = attributes; a != attributes + count; ++a) {
    out << (a == attributes ? "" : " ") << a->type << '=';
    const auto* const bytes = static_cast<const uint8_t*>(a->pValue);
    std::for_each(bytes, bytes + (bytes ? a->ulValueLen : 0), [&](int byte) { out << std::setw(2) << byte; });
  }
  out << std::dec << ']';
}

template <typename... Arguments>
CK_RV record(const char* function, Arguments... arguments) {
  std::ostringstream text;
  text << function;
  std::optional<const CK_ATTRIBUTE*> attributes;  // wait for their count
  const auto add = [&](auto argument) {
    if constexpr (std::is_same_v<decltype(argument), CK_ATTRIBUTE*>) {
      attributes = argument;
    } else if constexpr (std::is_same_v<decltype(argument), CK_MECHANISM*>) {
      text << ' ' << std::hex << argument->mechanism << std::dec;
    } else if constexpr (std::is_integral_v<decltype(argument)>) {
      attributes ? write(text, *attributes, argument) : void(text << ' ' << +argument);
      attributes.reset();
    }
  };
  (add(arguments), ...);
  FakeToken& token = fake_token();
  const std::lock_guard<std::mutex> lock(token.mutex);
  token.calls.push_back(text.str());
  const auto failure = token.failures.find(function);
  return failure == token.failures.end() ? CKR_OK : failure->second;
}

/// The items, as many as there is room for.
template <typename Item>
CK_RV put(const std::vector<Item>& items, void* to, CK_ULONG* count, CK_ULONG room) {
  *count = std::min<CK_ULONG>(items.size(), room);
  if (to != nullptr) {
    std::copy_n(items.begin(), *count, static_cast<Item*>(to));
  }
  return CKR_OK;
}

CK_RV put_signature(unsigned char* to, CK_ULONG* size) {
  const std::vector<uint8_t> signature(64, 's');
  put(signature, to, size, 64);
  *size += to ? 0 : 8;  // a size query may answer more than the signature will have
  return CKR_OK;
}

CK_RV put_values(CK_ATTRIBUTE* attributes, CK_ULONG count) {
  CK_RV result = CKR_OK;
  std::for_each(attributes, attributes + count, [&](CK_ATTRIBUTE& a) {
    const auto value = fake_token().values.find(a.type);
    value == fake_token().values.end() ? result = CKR_ATTRIBUTE_TYPE_INVALID
                                       : put(value->second, a.pValue, &a.ulValueLen, value->second.size());
  });
  return result;
}

/// A Cryptoki function that records its call and, unless it is to fail, does what is given; `a` is its
/// arguments.
#define ANSWER(function, ...)                                      \
  list.function = [](auto... arguments) -> CK_RV {                 \
    [[maybe_unused]] const auto a = std::make_tuple(arguments...); \
    const CK_RV failure = record(#function, arguments...);         \
    return failure != CKR_OK ? failure : CK_RV{(__VA_ARGS__)};     \
  }

CK_FUNCTION_LIST make_functions() {
  using std::get;
  CK_FUNCTION_LIST list = {};
  list.C_Initialize = [](void* args) {
    return record("C_Initialize", args ? static_cast<CK_C_INITIALIZE_ARGS*>(args)->flags : CK_ULONG(-1));
  };
  ANSWER(C_Finalize, CKR_OK);
  ANSWER(C_GetSlotList, put(fake_token().slots, get<1>(a), get<2>(a), 99));
  ANSWER(C_InitToken, CKR_OK);
  ANSWER(C_InitPIN, CKR_OK);
  ANSWER(C_SetPIN, CKR_OK);
  ANSWER(C_OpenSession, *get<4>(a) = 7, CKR_OK);
  ANSWER(C_CloseSession, CKR_OK);
  ANSWER(C_GetSessionInfo, get<1>(a)->state = fake_token().state, CKR_OK);
  ANSWER(C_Login, CKR_OK);
  ANSWER(C_Logout, CKR_OK);
  ANSWER(C_CreateObject, *get<3>(a) = 21, CKR_OK);
  ANSWER(C_FindObjectsInit, CKR_OK);
  ANSWER(C_FindObjects, put(fake_token().found, get<1>(a), get<3>(a), get<2>(a)));
  ANSWER(C_FindObjectsFinal, CKR_OK);
  ANSWER(C_SignInit, CKR_OK);
  ANSWER(C_Sign, put_signature(get<3>(a), get<4>(a)));
  ANSWER(C_SignUpdate, CKR_OK);
  ANSWER(C_SignFinal, put_signature(get<1>(a), get<2>(a)));
  ANSWER(C_VerifyInit, CKR_OK);
  ANSWER(C_Verify, CKR_OK);
  ANSWER(C_VerifyUpdate, CKR_OK);
  ANSWER(C_VerifyFinal, CKR_OK);
  ANSWER(C_GenerateKeyPair, *get<6>(a) = 31, *get<7>(a) = 32, CKR_OK);
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE s, CK_OBJECT_HANDLE o, CK_ATTRIBUTE* a, CK_ULONG n) {
    std::vector<CK_ATTRIBUTE> types(a, a + n);
    std::for_each(types.begin(), types.end(), [](CK_ATTRIBUTE& each) { each.pValue = nullptr; });
    const CK_RV failure = record("C_GetAttributeValue", s, o, types.data(), n);
    return failure != CKR_OK ? failure : put_values(a, n);
  };
  return list;
}

CK_RV set_client_cert(CK_SESSION_HANDLE session, const CK_OBJECT_HANDLE* installed, CK_ULONG installed_count,
                      const CK_OBJECT_HANDLE* added, CK_ULONG added_count) {
  return record("set_client_cert_and_move_key", session, installed_count, installed_count ? *installed : 0,
                added_count, added_count ? *added : 0);
}

}  // namespace

FakeToken& fake_token() { return *current; }

FakeToken& fresh_fake_token() { return *(current = std::make_unique<FakeToken>()); }

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  static CK_FUNCTION_LIST functions = make_functions();
  *list = &functions;
  return CKR_OK;
}

extern "C" CK_RV C_GetInterface(unsigned char* name, CK_VERSION*, TEE_INTERFACE** interface, CK_FLAGS) {
  static TEE_FUNCTION_LIST functions = {{1, 0}, set_client_cert};
  static TEE_INTERFACE ours = {nullptr, &functions, 0};
  if (!fake_token().has_interface || std::strcmp(reinterpret_cast<char*>(name), TEE_INTERFACE_NAME) != 0) {
    return CKR_FUNCTION_FAILED;
  }
  *interface = &ours;
  return CKR_OK;
}
