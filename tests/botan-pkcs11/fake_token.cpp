// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "fake_token.h"

#include <algorithm>
#include <memory>
#include <tuple>

#include "support/spytoken.h"

namespace {

std::unique_ptr<FakeToken> current;

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

/// A Cryptoki function that does what is given; `a` is its arguments.
#define ANSWER(function, ...)                                      \
  list.function = [](auto... arguments) -> CK_RV {                 \
    [[maybe_unused]] const auto a = std::make_tuple(arguments...); \
    return CK_RV{(__VA_ARGS__)};                                   \
  }

CK_FUNCTION_LIST make_functions() {
  using std::get;
  CK_FUNCTION_LIST list = {};
  ANSWER(C_Initialize, CKR_OK);
  ANSWER(C_Finalize, CKR_OK);
  ANSWER(C_GetSlotList, put(fake_token().slots, get<1>(a), get<2>(a), 99));
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
  ANSWER(C_GetAttributeValue, put_values(get<2>(a), get<3>(a)));
  return list;
}

CK_RV set_client_cert(CK_SESSION_HANDLE, const CK_OBJECT_HANDLE*, CK_ULONG, const CK_OBJECT_HANDLE*,
                      CK_ULONG) {
  return CKR_OK;
}

}  // namespace

FakeToken& fake_token() { return *current; }

FakeToken& fresh_fake_token() {
  static const CK_FUNCTION_LIST cryptoki = make_functions();
  static const TEE_FUNCTION_LIST vendor = {{1, 0}, set_client_cert};
  test_support::spytoken().reset();
  test_support::spytoken().forward_to({&cryptoki, &vendor});
  return *(current = std::make_unique<FakeToken>());
}
