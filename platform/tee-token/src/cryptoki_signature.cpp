#include "entry_point.h"

using namespace tee_token;

CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return entry_point("C_SignInit", [&](Module& module) {
    module.session(session).begin_signature(mechanism_of(mechanism, CKF_SIGN), key);
  });
}

CK_RV C_Sign(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
             CK_ULONG* signature_length) {
  return entry_point("C_Sign", [&](Module& module) {
    module.session(session).sign(input(data, length), OutputBuffer(signature, signature_length));
  });
}

CK_RV C_SignUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return entry_point("C_SignUpdate",
                     [&](Module& module) { module.session(session).add_to_signature(input(part, length)); });
}

CK_RV C_SignFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG* signature_length) {
  return entry_point("C_SignFinal", [&](Module& module) {
    module.session(session).end_signature(OutputBuffer(signature, signature_length));
  });
}

CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return entry_point("C_VerifyInit", [&](Module& module) {
    module.session(session).begin_verification(mechanism_of(mechanism, CKF_VERIFY), key);
  });
}

CK_RV C_Verify(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
               CK_ULONG signature_length) {
  return entry_point("C_Verify", [&](Module& module) {
    module.session(session).verify(input(data, length), input(signature, signature_length));
  });
}

CK_RV C_VerifyUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return entry_point("C_VerifyUpdate", [&](Module& module) {
    module.session(session).add_to_verification(input(part, length));
  });
}

CK_RV C_VerifyFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG length) {
  return entry_point("C_VerifyFinal", [&](Module& module) {
    module.session(session).end_verification(input(signature, length));
  });
}
