// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// After any calls with any arguments only the user reaches private objects, and a guarded value is neither
// read nor found by a search. A buffer of the length that CKR_BUFFER_TOO_SMALL reports is large enough.
#include <fuzzer/FuzzedDataProvider.h>

#include "base/attribute_table.h"
#include "tee-token/token_test.h"

using namespace token_test;

struct Calls : TokenTest {
  void TestBody() override {}
  explicit Calls(FuzzedDataProvider&& in) {
    const Value secret(32, 'S');  // longer than the values from the input
    bool is_user = login() == OK;
    create(
        Class(CKO_PRIVATE_KEY).number(CKA_KEY_TYPE, CKK_EC).add(CKA_EC_PARAMS, kP256).add(CKA_VALUE, secret));
    generate();
    open(), open();
    const auto number = [&](CK_ULONG last) { return in.ConsumeIntegralInRange<CK_ULONG>(0, last); };
    const auto object = [&] { return number(5) + in.PickValueInArray({0UL, (1UL << 62) - 1}); };
    const auto type = [&] { return tee_token::AttributeRules().begin()[number(50)].type; };
    const auto attributes = [&](Template some = Template()) {
      const Value values[] = {{0}, {1}, Value(8), in.ConsumeBytes<std::uint8_t>(number(31))};
      return some.add(type(), in.PickValueInArray(values));
    };
    CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
    const auto read_into = [&](Value room) {
      CK_ATTRIBUTE wanted = {type(), room.data(), room.size()};
      m_token->C_GetAttributeValue(m_session, object(), &wanted, 1);
    };
    const auto lacking = [&](CK_ULONG length) {
      const CK_RV code = m_token->C_Sign(m_session, nullptr, 0, Value(length).data(), &length);
      return code == CKR_BUFFER_TOO_SMALL ? length : 0;
    };
    const std::function<void()> calls[] = {
        [&] { is_user = login() == OK || is_user; },
        [&] { is_user = logout() != OK && is_user; },
        [&] { login_officer(); },
        [&] { open(number(7)); },
        [&] { create(attributes(Class(CKO_DATA))); },
        [&] { generate(attributes()); },
        [&] { find(attributes()); },
        [&] { read_into(Value(number(20))); },
        [&] { copy(object(), attributes()); },
        [&] { set(object(), attributes()); },
        [&] { destroy(object()); },
        [&] { install(Handles(number(1)), Handles(3, object())); },
        [&] { m_token->C_SignInit(m_session, &mechanism, object()); },
        [&] { lacking(lacking(1 + number(80))) != 0 ? std::abort() : void(); }};
    while (in.remaining_bytes() > 0) {
      m_session = 2 + number(1);
      in.PickValueInArray(calls)();
    }
    m_session = 1;  // not used by the calls above
    for (const CK_OBJECT_HANDLE found : find()) {
      if (!is_user && value_of(found, CKA_PRIVATE) != Value{0}) std::abort();
      if (value_of(found, CKA_VALUE) == secret) std::abort();
    }
    if (!find(Template().add(CKA_VALUE, secret)).empty()) std::abort();
    if (!is_user && read(2, CKA_CLASS) == OK) std::abort();
  }
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return Calls({data, size}), 0;
}
