// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/dyn_load.h>
#include <botan/p11_trust_store_group.h>
#include <tee_token/vendor_interface.h>

namespace Botan {
namespace PKCS11 {

/// What a token offers beyond the standard's function list.
class VendorInterface {
 public:
  /// The token's own functions, or null when its library has none.
  static const TEE_FUNCTION_LIST* functions(const Module& module);
};

const TEE_FUNCTION_LIST* VendorInterface::functions(const Module& module) {
  TEE_C_GetInterface get_interface = nullptr;
  try {
    get_interface = module.m_library->resolve<TEE_C_GetInterface>("C_GetInterface");
  } catch (const Invalid_Argument&) {
    return nullptr;  // a library of PKCS #11 2.40
  }
  unsigned char name[] = TEE_INTERFACE_NAME;
  TEE_INTERFACE* interface = nullptr;
  if (get_interface(name, nullptr, &interface, 0) != CKR_OK || interface == nullptr) {
    return nullptr;
  }
  return static_cast<const TEE_FUNCTION_LIST*>(interface->functions);
}

unsigned long setClientCertAndMoveKey(Session& session, std::vector<unsigned long> installed,
                                      std::vector<unsigned long> added) {
  const TEE_FUNCTION_LIST* const functions = VendorInterface::functions(session.module());
  if (functions == nullptr || functions->set_client_cert_and_move_key == nullptr) {
    return CKR_FUNCTION_NOT_SUPPORTED;
  }
  return functions->set_client_cert_and_move_key(session.handle(), installed.data(), installed.size(),
                                                 added.data(), added.size());
}

}  // namespace PKCS11
}  // namespace Botan
