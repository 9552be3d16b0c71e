// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"
#include "abi/function_list.h"
#include "base/fixed_text.h"

using namespace tee_token;

namespace {

// A call holds the system's mutex from start to end and calls nothing of the caller's meanwhile. So it needs
// no mutexes of his, whether he gives some, allows the system's, or both (base, 5.4).
void require_usable(const CK_C_INITIALIZE_ARGS& args) {
  if (args.pReserved != nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "pReserved must be null");
  }
  const int given = (args.CreateMutex != nullptr) + (args.DestroyMutex != nullptr) +
                    (args.LockMutex != nullptr) + (args.UnlockMutex != nullptr);
  if (given != 0 && given != 4) {
    throw Error(CKR_ARGUMENTS_BAD, "mutex functions come all four or not at all");
  }
}

}  // namespace

CK_RV C_Initialize(void* args) {
  return answer_of("C_Initialize", [&] {
    if (args != nullptr) {
      require_usable(*static_cast<const CK_C_INITIALIZE_ARGS*>(args));
    }
    Module::initialise();
  });
}

CK_RV C_Finalize(void* reserved) {
  return entry_point("C_Finalize", [&](Module&) {
    if (reserved != nullptr) {
      throw Error(CKR_ARGUMENTS_BAD, "the argument must be null");
    }
    Module::finalise();
  });
}

CK_RV C_GetInfo(CK_INFO* info) {
  return entry_point("C_GetInfo", [&](Module&) {
    *required(info) = CK_INFO{};
    info->cryptokiVersion = {2, 40};
    info->libraryVersion = {1, 0};
    put_text(info->manufacturerID, "TEE token");
    put_text(info->libraryDescription, "Software token of a TEE");
  });
}

TEE_EXPORT CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  if (list == nullptr) {
    return CKR_ARGUMENTS_BAD;
  }
  *list = cryptoki_functions();
  return CKR_OK;
}
