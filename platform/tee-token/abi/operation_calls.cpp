// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;
using Signature = Session::Signature;
using Verification = Session::Verification;
using Digest = Session::Digest;

CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return object_call("C_SignInit", session, key,
                     [&](Session& opened) { opened.begin_signature(mechanism, key); });
}

CK_RV C_Sign(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
             CK_ULONG* signature_length) {
  return operation_call<Signature>("C_Sign", session, [&](Session& opened) {
    opened.sign(input(data, length), OutputBuffer(signature, signature_length));
  });
}

CK_RV C_SignUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Signature>("C_SignUpdate", session,
                                   [&](Session& opened) { opened.add_to_signature(input(part, length)); });
}

CK_RV C_SignFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG* signature_length) {
  return operation_call<Signature>("C_SignFinal", session, [&](Session& opened) {
    opened.end_signature(OutputBuffer(signature, signature_length));
  });
}

CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return object_call("C_VerifyInit", session, key,
                     [&](Session& opened) { opened.begin_verification(mechanism, key); });
}

CK_RV C_Verify(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
               CK_ULONG signature_length) {
  return operation_call<Verification>("C_Verify", session, [&](Session& opened) {
    opened.verify(input(data, length), input(signature, signature_length));
  });
}

CK_RV C_VerifyUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Verification>(
      "C_VerifyUpdate", session, [&](Session& opened) { opened.add_to_verification(input(part, length)); });
}

CK_RV C_VerifyFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG length) {
  return operation_call<Verification>(
      "C_VerifyFinal", session, [&](Session& opened) { opened.end_verification(input(signature, length)); });
}

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
