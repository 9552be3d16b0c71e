// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;

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
        ? Error(CKR_STATE_UNSAVEABLE, "operations do not leave the token")
        : Error(CKR_OPERATION_NOT_INITIALIZED, "no operation is active");
  });
}

CK_RV C_SetOperationState(CK_SESSION_HANDLE session, unsigned char* state, CK_ULONG length, CK_OBJECT_HANDLE,
                          CK_OBJECT_HANDLE) {
  return session_call("C_SetOperationState", session, [&](Session&) {
    input(state, length);
    throw Error(CKR_SAVED_STATE_INVALID, "no operation was ever saved: the token does not do that");
  });
}

namespace {

CK_RV not_parallel(const char* call, CK_SESSION_HANDLE session) {
  return session_call(call, session, [](Session&) {
    throw Error(CKR_FUNCTION_NOT_PARALLEL, "no call runs in the background");
  });
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
