// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// libfaultymodule.so: the platform's token with the fault that FAULTY_MODULE names.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tee_token/vendor_interface.h"

namespace {

CK_FUNCTION_LIST token, faulty;
TEE_FUNCTION_LIST token_vendor, faulty_vendor;

template <typename Function>
Function symbol(const char* name) {
  return reinterpret_cast<Function>(::dlsym(::dlopen(TEE_TOKEN_MODULE, RTLD_NOW), name));
}

CK_RV sign_zeros(CK_ULONG, unsigned char*, CK_ULONG, unsigned char*, CK_ULONG* length) {
  return *length = 64, CKR_OK;
}

CK_RV install_half(CK_ULONG session, const CK_ULONG* old, CK_ULONG olds, const CK_ULONG* added,
                   CK_ULONG news) {
  token_vendor.set_client_cert_and_move_key(session, old, olds, added, news);
  return token.C_DestroyObject(session, added[0]);
}

void put_in_fault() {
  const char* const named = std::getenv("FAULTY_MODULE");
  const std::string fault = named != nullptr ? named : "";
  auto& install = faulty_vendor.set_client_cert_and_move_key;
  const auto refuse = [](auto...) -> CK_RV { return CKR_FUNCTION_FAILED; };
  if (fault == "refuses-C_GenerateKeyPair") faulty.C_GenerateKeyPair = refuse;
  if (fault == "refuses-C_CreateObject") faulty.C_CreateObject = refuse;
  if (fault == "refuses-C_DestroyObject") faulty.C_DestroyObject = refuse;
  if (fault == "refuses-installation") install = refuse;
  if (fault == "dies") faulty.C_SignInit = [](auto...) -> CK_RV { std::abort(); };
  if (fault == "hangs") faulty.C_SignInit = [](auto...) { return static_cast<CK_RV>(::pause()); };
  if (fault == "logs in twice") faulty.C_Login = [](auto... to) { return token.C_Login(to...), CK_RV{}; };
  if (fault == "signs zeros") faulty.C_Sign = sign_zeros;
  if (fault == "destroys nothing") faulty.C_DestroyObject = [](auto...) { return CK_RV{}; };
  if (fault == "has no installation") install = nullptr;
  if (fault == "installs half") install = install_half;
  if (fault == "accepts all") {
    install = [](auto... to) { return token_vendor.set_client_cert_and_move_key(to...), CK_RV{}; };
  }
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  const CK_RV code = symbol<CK_C_GetFunctionList>("C_GetFunctionList")(list);
  token = faulty = **list;
  put_in_fault();
  *list = &faulty;
  return code;
}

CK_RV C_GetInterface(unsigned char* name, CK_VERSION* version, TEE_INTERFACE** interface, CK_FLAGS flags) {
  const CK_RV code = symbol<TEE_C_GetInterface>("C_GetInterface")(name, version, interface, flags);
  token_vendor = faulty_vendor = *static_cast<const TEE_FUNCTION_LIST*>((*interface)->functions);
  put_in_fault();
  static TEE_INTERFACE given = {nullptr, &faulty_vendor, 0};
  *interface = &given;
  return code;
}

}  // extern "C"
#pragma GCC visibility pop
