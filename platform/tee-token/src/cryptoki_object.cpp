#include "entry_point.h"

using namespace tee_token;

CK_RV C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE* given, CK_ULONG count,
                     CK_OBJECT_HANDLE* object) {
  return entry_point("C_CreateObject", [&](Module& module) {
    required(object);
    *object = module.session(session).create(Attributes(given, count));
  });
}

CK_RV C_CopyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* changes, CK_ULONG count,
                   CK_OBJECT_HANDLE* copy) {
  return entry_point("C_CopyObject", [&](Module& module) {
    required(copy);
    *copy = module.session(session).copy(object, Attributes(changes, count));
  });
}

CK_RV C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  return entry_point("C_DestroyObject", [&](Module& module) { module.session(session).destroy(object); });
}

CK_RV C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* wanted,
                          CK_ULONG count) {
  return entry_point("C_GetAttributeValue",
                     [&](Module& module) { module.session(session).read_attributes(object, wanted, count); });
}

CK_RV C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* changes,
                          CK_ULONG count) {
  return entry_point("C_SetAttributeValue", [&](Module& module) {
    module.session(session).set_attributes(object, Attributes(changes, count));
  });
}

CK_RV C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* wanted, CK_ULONG count) {
  return entry_point("C_FindObjectsInit", [&](Module& module) {
    module.session(session).begin_search(Attributes(wanted, count));
  });
}

CK_RV C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG limit, CK_ULONG* count) {
  return entry_point("C_FindObjects", [&](Module& module) {
    Session& opened = module.session(session);
    required(objects);
    *required(count) = 0;
    const std::vector<CK_OBJECT_HANDLE> found = opened.continue_search(limit);
    std::copy(found.begin(), found.end(), objects);
    *count = found.size();
  });
}

CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE session) {
  return entry_point("C_FindObjectsFinal", [&](Module& module) { module.session(session).end_search(); });
}

CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* public_half,
                        CK_ULONG public_count, CK_ATTRIBUTE* private_half, CK_ULONG private_count,
                        CK_OBJECT_HANDLE* public_key, CK_OBJECT_HANDLE* private_key) {
  return entry_point("C_GenerateKeyPair", [&](Module& module) {
    Session& opened = module.session(session);
    mechanism_of(mechanism, CKF_GENERATE_KEY_PAIR);
    required(public_key);
    required(private_key);
    const Session::KeyPair made =
        opened.generate(Attributes(public_half, public_count), Attributes(private_half, private_count));
    *public_key = made.public_key;
    *private_key = made.private_key;
  });
}
