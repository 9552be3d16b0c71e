// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Behind a module that lies about lengths, handles and codes and need not end a search, each operation ends
// with a result or an exception, a list is not longer than asked for, and the next operation works.
#include <fuzzer/FuzzedDataProvider.h>

#include "api/product_test.h"
#include "support/token_snapshot.h"
#include "tee/tee_session.h"

using namespace ozk::tee;

FuzzedDataProvider* s_input;
const CK_FUNCTION_LIST* s_token;
CK_ULONG s_endless, s_searches;

CK_ULONG lie(CK_ULONG number) {
  return s_input->PickValueInArray<CK_ULONG>({number, number, number, number + 1, 0, 1, 5, 2000, ~0UL});
}
CK_RV read(CK_ULONG session, CK_ULONG object, CK_ATTRIBUTE* wanted, CK_ULONG count) {
  const CK_RV code = s_token->C_GetAttributeValue(session, lie(object), wanted, count);
  return wanted->ulValueLen = lie(wanted->ulValueLen), code;
}
CK_RV find(CK_ULONG session, CK_ULONG* objects, CK_ULONG most, CK_ULONG* count) {
  const CK_RV code = s_token->C_FindObjects(session, objects, most, count);
  *count = s_endless == 1 ? most : lie(*count);
  return ++s_searches > 5000 ? std::abort(), code : code;
}

struct HostileModule : ProductTest {
  void TestBody() override {}
  HostileModule() {
    addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
    importData(label(2, 1), "VIN");
    provision("installed");
    chain = pem(requestChain("temporary"));
    s_token = spytoken().module().cryptoki;
  }

  void run(FuzzedDataProvider&& in) {
    static const TokenSnapshot whole(token.path());
    whole.restore();
    CK_FUNCTION_LIST list = *s_token;
    list.C_GetAttributeValue = read, list.C_FindObjects = find;
    spytoken().module().cryptoki = &list;
    s_input = &in, s_searches = 0, s_endless = lie(0);
    while (in.ConsumeBool())
      spytoken().answer("", lie(0) | 1, 1 + in.ConsumeIntegral<std::uint8_t>(), in.ConsumeBool());
    try {
      in.PickValueInArray(operations)();
    } catch (const std::exception&) {
    }
    s_token->C_Finalize(nullptr);
    spytoken().stop_interfering(), spytoken().module().cryptoki = s_token;
    if (product->get_zemp_vin() != "VIN") std::abort();
    log.take(), spytoken().take_calls();
  }

  static void find_three() {
    const TEESession::TEESession tee(true);
    if (Botan::PKCS11::ObjectFinder(*tee.m_session, {}).find(3).size() > 3) std::abort();
  }

  std::string chain;
  const std::function<void()> operations[7] = {find_three,
                                               [this] { generate(); },
                                               [this] { install(chain); },
                                               [this] { remove(); },
                                               [this] { signsWithInstalledKey(); },
                                               [this] { product->get_client_cert("LYR"); },
                                               [this] { product->get_root_cert_bundle("group"); }};
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static HostileModule target;
  return target.run({data, size}), 0;
}
