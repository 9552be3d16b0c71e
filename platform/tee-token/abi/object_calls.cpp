// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;

CK_RV C_CreateObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE* given, CK_ULONG count,
                     CK_OBJECT_HANDLE* object) {
  return session_call("C_CreateObject", session, [&](Session& opened) {
    required(object);
    *object = opened.create(Attributes(given, count));
  });
}

CK_RV C_CopyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* changes, CK_ULONG count,
                   CK_OBJECT_HANDLE* copy) {
  return object_call("C_CopyObject", session, object, [&](Session& opened) {
    required(copy);
    *copy = opened.copy(object, Attributes(changes, count));
  });
}

CK_RV C_DestroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
  return object_call("C_DestroyObject", session, object, [&](Session& opened) { opened.destroy(object); });
}

CK_RV C_GetObjectSize(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ULONG* size) {
  return object_call("C_GetObjectSize", session, object,
                     [&](Session& opened) { *required(size) = opened.size_of(object); });
}

CK_RV C_GetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* wanted,
                          CK_ULONG count) {
  return object_call("C_GetAttributeValue", session, object,
                     [&](Session& opened) { opened.read_attributes(object, wanted, count); });
}

CK_RV C_SetAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* changes,
                          CK_ULONG count) {
  return object_call("C_SetAttributeValue", session, object,
                     [&](Session& opened) { opened.set_attributes(object, Attributes(changes, count)); });
}

CK_RV C_FindObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* wanted, CK_ULONG count) {
  return session_call("C_FindObjectsInit", session,
                      [&](Session& opened) { opened.begin_search(Attributes(wanted, count)); });
}

CK_RV C_FindObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG limit, CK_ULONG* count) {
  return session_call("C_FindObjects", session, [&](Session& opened) {
    required(objects);
    *required(count) = 0;
    const std::vector<CK_OBJECT_HANDLE> found = opened.continue_search(limit);
    std::copy(found.begin(), found.end(), objects);
    *count = found.size();
  });
}

CK_RV C_FindObjectsFinal(CK_SESSION_HANDLE session) {
  return operation_call<Session::Search>("C_FindObjectsFinal", session,
                                         [](Session::Search&) { return true; });
}

CK_RV C_GenerateKeyPair(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* public_half,
                        CK_ULONG public_count, CK_ATTRIBUTE* private_half, CK_ULONG private_count,
                        CK_OBJECT_HANDLE* public_key, CK_OBJECT_HANDLE* private_key) {
  return session_call("C_GenerateKeyPair", session, [&](Session& opened) {
    required(public_key);
    required(private_key);
    mechanism_of(mechanism, CKF_GENERATE_KEY_PAIR);
    const Session::KeyPair made =
        opened.generate(Attributes(public_half, public_count), Attributes(private_half, private_count));
    *public_key = made.public_key;
    *private_key = made.private_key;
  });
}
