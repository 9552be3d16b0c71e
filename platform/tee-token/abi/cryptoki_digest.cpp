// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;
using Digest = Session::Digest;

CK_RV C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism) {
  return session_call("C_DigestInit", session, [&](Session& opened) { opened.begin_digest(mechanism); });
}

CK_RV C_Digest(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* digest,
               CK_ULONG* digest_length) {
  return operation_call<Digest>("C_Digest", session, [&](Session& opened) {
    opened.digest(input(data, length), OutputBuffer(digest, digest_length));
  });
}

CK_RV C_DigestUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Digest>("C_DigestUpdate", session,
                                [&](Session& opened) { opened.add_to_digest(input(part, length)); });
}

CK_RV C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  return operation_call<Digest>("C_DigestKey", session,
                                [&](Session& opened) { opened.add_key_to_digest(key); });
}

CK_RV C_DigestFinal(CK_SESSION_HANDLE session, unsigned char* digest, CK_ULONG* digest_length) {
  return operation_call<Digest>("C_DigestFinal", session, [&](Session& opened) {
    opened.end_digest(OutputBuffer(digest, digest_length));
  });
}
