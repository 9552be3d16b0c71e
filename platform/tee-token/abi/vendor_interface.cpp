// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee_token/vendor_interface.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "abi/entry_point.h"
#include "objects/installation.h"

using namespace tee_token;

namespace {

std::vector<CK_OBJECT_HANDLE> handles(const CK_OBJECT_HANDLE* first, CK_ULONG count) {
  return count == 0 ? std::vector<CK_OBJECT_HANDLE>()
                    : std::vector<CK_OBJECT_HANDLE>(required(first), required(first) + count);
}

CK_RV set_client_cert_and_move_key(CK_SESSION_HANDLE session, const CK_OBJECT_HANDLE* installed,
                                   CK_ULONG installed_count, const CK_OBJECT_HANDLE* added,
                                   CK_ULONG added_count) {
  return session_call("set_client_cert_and_move_key", session, [&](Session& opened) {
    const std::vector<CK_OBJECT_HANDLE> old_set = handles(installed, installed_count);
    const std::vector<CK_OBJECT_HANDLE> new_set = handles(added, added_count);
    opened.require_may_write(Place::kToken);
    install(opened.token(), old_set, new_set);
  });
}

TEE_FUNCTION_LIST g_vendor_functions = {{1, 0}, set_client_cert_and_move_key};
unsigned char g_cryptoki_name[] = "PKCS 11";
unsigned char g_vendor_name[] = TEE_INTERFACE_NAME;

TEE_INTERFACE g_interfaces[] = {
    {g_cryptoki_name, cryptoki_functions(), 0},  // the first is the default
    {g_vendor_name, &g_vendor_functions, 0},
};

bool fits(const TEE_INTERFACE& interface, const unsigned char* name, const CK_VERSION* version,
          CK_FLAGS flags) {
  const auto* const own = static_cast<const CK_VERSION*>(interface.functions);
  const auto text = [](const unsigned char* bytes) { return reinterpret_cast<const char*>(bytes); };
  return (name == nullptr || std::strcmp(text(name), text(interface.name)) == 0) &&
         (version == nullptr || (version->major == own->major && version->minor == own->minor)) &&
         (flags & ~interface.flags) == 0;
}

}  // namespace

extern "C" TEE_EXPORT CK_RV C_GetInterface(unsigned char* name, CK_VERSION* version,
                                           TEE_INTERFACE** interface, CK_FLAGS flags) {
  if (interface == nullptr) {
    return CKR_ARGUMENTS_BAD;
  }
  for (TEE_INTERFACE& candidate : g_interfaces) {
    if (fits(candidate, name, version, flags)) {
      *interface = &candidate;
      return CKR_OK;
    }
  }
  return CKR_FUNCTION_FAILED;
}

extern "C" TEE_EXPORT CK_RV C_GetInterfaceList(TEE_INTERFACE* list, CK_ULONG* count) {
  if (count == nullptr) {
    return CKR_ARGUMENTS_BAD;
  }
  const CK_ULONG room = std::exchange(*count, std::size(g_interfaces));
  if (list == nullptr) {
    return CKR_OK;
  }
  if (room < *count) {
    return CKR_BUFFER_TOO_SMALL;
  }
  std::copy(std::begin(g_interfaces), std::end(g_interfaces), list);
  return CKR_OK;
}
