// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;
using Signature = Session::Signature;
using Verification = Session::Verification;
using Digest = Session::Digest;

namespace {

// What a step below returns: whether the operation ends.
constexpr bool kEnds = true, kStaysActive = false;

}  // namespace

CK_RV C_SignInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return object_call("C_SignInit", session, key,
                     [&](Session& opened) { opened.begin_signature(mechanism, key); });
}

CK_RV C_Sign(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
             CK_ULONG* signature_length) {
  return operation_call<Signature>("C_Sign", session, [&](Signature& signing) {
    const ByteView message = input(data, length);
    return OutputBuffer(signature, signature_length).give(signing.length(), [&] {
      return signing.sign(signing.message.digest_of(message));
    });
  });
}

CK_RV C_SignUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Signature>("C_SignUpdate", session, [&](Signature& signing) {
    signing.message.add(input(part, length));
    return kStaysActive;
  });
}

CK_RV C_SignFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG* signature_length) {
  return operation_call<Signature>("C_SignFinal", session, [&](Signature& signing) {
    return OutputBuffer(signature, signature_length).give(signing.length(), [&] {
      return signing.sign(signing.message.digest());
    });
  });
}

CK_RV C_VerifyInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
  return object_call("C_VerifyInit", session, key,
                     [&](Session& opened) { opened.begin_verification(mechanism, key); });
}

CK_RV C_Verify(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* signature,
               CK_ULONG signature_length) {
  return operation_call<Verification>("C_Verify", session, [&](Verification& verifying) {
    verifying.require_match(verifying.message.digest_of(input(data, length)),
                            input(signature, signature_length));
    return kEnds;
  });
}

CK_RV C_VerifyUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Verification>("C_VerifyUpdate", session, [&](Verification& verifying) {
    verifying.message.add(input(part, length));
    return kStaysActive;
  });
}

CK_RV C_VerifyFinal(CK_SESSION_HANDLE session, unsigned char* signature, CK_ULONG length) {
  return operation_call<Verification>("C_VerifyFinal", session, [&](Verification& verifying) {
    verifying.require_match(verifying.message.digest(), input(signature, length));
    return kEnds;
  });
}

CK_RV C_DigestInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism) {
  return session_call("C_DigestInit", session, [&](Session& opened) { opened.begin_digest(mechanism); });
}

CK_RV C_Digest(CK_SESSION_HANDLE session, unsigned char* data, CK_ULONG length, unsigned char* digest,
               CK_ULONG* digest_length) {
  return operation_call<Digest>("C_Digest", session, [&](Digest& digesting) {
    const ByteView message = input(data, length);
    return OutputBuffer(digest, digest_length).give(digesting.message.digest_length(), [&] {
      return digesting.message.digest_of(message);
    });
  });
}

CK_RV C_DigestUpdate(CK_SESSION_HANDLE session, unsigned char* part, CK_ULONG length) {
  return operation_call<Digest>("C_DigestUpdate", session, [&](Digest& digesting) {
    digesting.message.add(input(part, length));
    return kStaysActive;
  });
}

CK_RV C_DigestKey(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key) {
  return session_call("C_DigestKey", session, [&](Session& opened) {
    opened.continue_operation<Digest>([&](Digest&) -> bool { opened.refuse_to_digest(key); });
  });
}

CK_RV C_DigestFinal(CK_SESSION_HANDLE session, unsigned char* digest, CK_ULONG* digest_length) {
  return operation_call<Digest>("C_DigestFinal", session, [&](Digest& digesting) {
    return OutputBuffer(digest, digest_length).give(digesting.message.digest_length(), [&] {
      return digesting.message.digest();
    });
  });
}
