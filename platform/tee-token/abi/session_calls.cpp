// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"
#include "crypto/symmetric.h"

using namespace tee_token;

namespace {

// Each call holds the module's own mutex from start to end and calls no function of the caller. So the
// caller's mutex functions are never needed, whatever the flags allow (base, 5.4).
void require_usable(const CK_C_INITIALIZE_ARGS& args) {
  if (args.pReserved != nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "pReserved must be null");
  }
  const int given = (args.CreateMutex != nullptr) + (args.DestroyMutex != nullptr) +
                    (args.LockMutex != nullptr) + (args.UnlockMutex != nullptr);
  if (given != 0 && given != 4) {
    throw Error(CKR_ARGUMENTS_BAD, "give all four mutex functions or none");
  }
}

}  // namespace

CK_RV C_Initialize(void* args) {
  return answer_of("C_Initialize", [&] {
    if (Module::current() == nullptr) {
      read_log_settings();
    }
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

CK_RV C_OpenSession(CK_SLOT_ID slot, CK_FLAGS flags, void*, CK_NOTIFY, CK_SESSION_HANDLE* session) {
  return entry_point("C_OpenSession", [&](Module& module) {
    required(session);
    *session = module.open_session(slot, flags);
  });
}

CK_RV C_CloseSession(CK_SESSION_HANDLE session) {
  return entry_point("C_CloseSession", [&](Module& module) { module.close_session(session); });
}

CK_RV C_CloseAllSessions(CK_SLOT_ID slot) {
  return entry_point("C_CloseAllSessions", [&](Module& module) {
    Module::require_slot(slot);
    module.close_all_sessions();
  });
}

CK_RV C_GetSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
  return session_call("C_GetSessionInfo", session, [&](Session& opened) { *required(info) = opened.info(); });
}

CK_RV C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG pin_length) {
  return entry_point("C_Login", [&](Module& module) {
    module.session(session);
    module.log_in(user, input(pin, pin_length));
  });
}

CK_RV C_Logout(CK_SESSION_HANDLE session) {
  return entry_point("C_Logout", [&](Module& module) {
    module.session(session);
    module.log_out();
  });
}

CK_RV C_GetOperationState(CK_SESSION_HANDLE session, unsigned char*, CK_ULONG* length) {
  return session_call("C_GetOperationState", session, [&](Session& opened) {
    required(length);
    throw opened.has_cryptographic_operation()
        ? Error(CKR_STATE_UNSAVEABLE, "the state of an operation cannot be saved")
        : Error(CKR_OPERATION_NOT_INITIALIZED, "no operation is active");
  });
}

CK_RV C_SetOperationState(CK_SESSION_HANDLE session, unsigned char* state, CK_ULONG length, CK_OBJECT_HANDLE,
                          CK_OBJECT_HANDLE) {
  return session_call("C_SetOperationState", session, [&](Session&) {
    input(state, length);
    throw Error(CKR_SAVED_STATE_INVALID, "the token saves no states of operations");
  });
}

namespace {

CK_RV not_parallel(const char* call, CK_SESSION_HANDLE session) {
  return session_call(call, session,
                      [](Session&) { throw Error(CKR_FUNCTION_NOT_PARALLEL, "no call runs in parallel"); });
}

}  // namespace

CK_RV C_GetFunctionStatus(CK_SESSION_HANDLE session) { return not_parallel("C_GetFunctionStatus", session); }

CK_RV C_CancelFunction(CK_SESSION_HANDLE session) { return not_parallel("C_CancelFunction", session); }

CK_RV C_SeedRandom(CK_SESSION_HANDLE session, unsigned char* seed, CK_ULONG length) {
  return session_call("C_SeedRandom", session, [&](Session&) { add_entropy(input(seed, length)); });
}

CK_RV C_GenerateRandom(CK_SESSION_HANDLE session, unsigned char* random, CK_ULONG length) {
  return session_call("C_GenerateRandom", session, [&](Session&) {
    required(random);
    const Bytes bytes = random_bytes(length);
    std::copy(bytes.begin(), bytes.end(), random);
  });
}
