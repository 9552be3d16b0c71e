#include "entry_point.h"

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
  return entry_point("C_GetSessionInfo",
                     [&](Module& module) { *required(info) = module.session(session).info(); });
}

CK_RV C_Login(CK_SESSION_HANDLE session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG pin_length) {
  return entry_point("C_Login",
                     [&](Module& module) { module.log_in(session, user, input(pin, pin_length)); });
}

CK_RV C_Logout(CK_SESSION_HANDLE session) {
  return entry_point("C_Logout", [&](Module& module) { module.log_out(session); });
}

CK_RV C_SeedRandom(CK_SESSION_HANDLE session, unsigned char*, CK_ULONG) {
  return entry_point("C_SeedRandom", [&](Module& module) {
    module.session(session);
    throw Error(CKR_RANDOM_SEED_NOT_SUPPORTED, "the generator seeds itself");
  });
}

CK_RV C_GenerateRandom(CK_SESSION_HANDLE session, unsigned char* random, CK_ULONG length) {
  return entry_point("C_GenerateRandom", [&](Module& module) {
    module.session(session);
    const Bytes bytes = random_bytes(length);
    std::copy(bytes.begin(), bytes.end(), length == 0 ? random : required(random));
  });
}
