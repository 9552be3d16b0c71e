// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <pthread.h>

#include "abi/module.h"
#include "base/failure_line.h"
#include "crypto/openssl_handles.h"

namespace tee_token {

/// A call is not cancelled half-way: glibc's unwinding would go through SQLite and end in the catch below.
class Uncancellable {
 public:
  Uncancellable() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
  Uncancellable(const Uncancellable&) = delete;
  Uncancellable& operator=(const Uncancellable&) = delete;
  ~Uncancellable() { ::pthread_setcancelstate(m_before, nullptr); }

 private:
  int m_before = 0;
};

/// Runs `operation` and turns what it throws into the answer of `call`. libcrypto's error queue, which is the
/// host program's too, is left as it was.
template <typename Operation>
CK_RV answer_of(const char* call, Operation operation) noexcept {
  const Uncancellable whole;
  Answer answer;
  {
    const std::lock_guard<std::mutex> lock(Module::mutex());
    const OpensslErrors own;
    try {
      operation();
    } catch (...) {
      const Module* const module = Module::current();
      answer = answer_for_current_exception(call,
                                            module == nullptr ? "" : module->token().folder().path().c_str());
    }
  }
  tell(answer);
  return answer.code;
}

/// `answer_of` for a call that needs the module.
template <typename Operation>
CK_RV entry_point(const char* call, Operation operation) noexcept {
  return answer_of(call, [&] { operation(Module::required()); });
}

/// `entry_point` for a call in a session. What is wrong with the session is told before what is wrong with
/// the other arguments (PKCS #11 2.40 base, 5.1.7).
template <typename Operation>
CK_RV session_call(const char* call, CK_SESSION_HANDLE session, Operation operation) noexcept {
  return entry_point(call, [&](Module& module) { operation(module.session(session)); });
}

/// `session_call` for a call that names an object, which the failure line then names too.
template <typename Operation>
CK_RV object_call(const char* call, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, Operation operation) {
  return session_call(call, session, [&](Session& opened) {
    try {
      operation(opened);
    } catch (Error& error) {
      if (is_told(error)) {
        error.set_subject(opened.description_of(object, error.code()));
      }
      throw;
    }
  });
}

/// `session_call` for a call that goes on with the active operation `Kind`.
template <typename Kind, typename Step>
CK_RV operation_call(const char* call, CK_SESSION_HANDLE session, Step step) noexcept {
  return session_call(call, session, [&](Session& opened) { opened.go_on<Kind>([&] { step(opened); }); });
}

/// `pointer` itself. Throws CKR_ARGUMENTS_BAD when it is null.
template <typename T>
T* required(T* pointer) {
  if (pointer == nullptr) {
    throw Error(CKR_ARGUMENTS_BAD, "a required argument is a null pointer");
  }
  return pointer;
}

/// A caller's bytes. Throws CKR_ARGUMENTS_BAD on a null pointer with a length.
inline ByteView input(const void* first, CK_ULONG length) {
  return length == 0 ? ByteView(nullptr, 0) : ByteView(required(first), length);
}

/// Answers a list under the two-call convention (PKCS #11 2.40 base, 5.2).
template <typename List, typename T>
void give_list(const List& list, T* first, CK_ULONG* count) {
  const CK_ULONG room = *required(count);
  *count = static_cast<CK_ULONG>(list.size());
  if (first == nullptr) {
    return;
  }
  if (room < list.size()) {
    throw Error(CKR_BUFFER_TOO_SMALL, "the list has " + std::to_string(list.size()) + " entries");
  }
  std::copy(list.begin(), list.end(), first);
}

}  // namespace tee_token
