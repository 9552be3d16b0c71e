// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "abi/caller_memory.h"
#include "abi/module.h"
#include "crypto/openssl_handles.h"

/// Marks the exported functions; programs reach all others through a function list.
#define TEE_EXPORT __attribute__((visibility("default")))

namespace tee_token {

/// The module's Cryptoki 2.40 functions; every entry is filled.
CK_FUNCTION_LIST* cryptoki_functions();

/// Reads TEE_TOKEN_LOG, which holds for all calls until this is called again.
void read_log_settings();

/// The result of a call, and its failure line, which is empty when none is to be written.
struct Answer {
  CK_RV code = CKR_OK;
  std::string line;
  std::string file;  // for the line; empty: stderr
};

/// Turns the exception that is being handled into the answer of `call`, with a line such as
///
///     tee-token: C_Login: CKR_PIN_INCORRECT: /var/lib/tee: wrong user PIN, 9 tries left; ...
///
/// To be called in a catch block. docs/token.md says which lines are written, and where.
Answer answer_for_current_exception(const char* call, const char* folder) noexcept;

/// Whether the line of `error` will be written.
bool is_logged(const Error& error);

/// Writes the line of `answer`. Not to be called under a lock: it blocks while nobody reads stderr.
void write_failure_line(const Answer& answer) noexcept;

/// Runs `operation` under the module's lock and turns an exception into the answer of `call`.
template <typename Operation>
CK_RV answer_of(const char* call, Operation operation) noexcept {
  Answer answer;
  {
    const CallLock lock;
    try {
      if (lock.is_nested()) {
        throw Failure(CKR_FUNCTION_FAILED,
                      "a RAND_METHOD or ENGINE that libcrypto uses must not use this token");
      }
      operation();
    } catch (...) {
      const Module* const module = Module::current();
      answer = answer_for_current_exception(call,
                                            module == nullptr ? "" : module->token().folder().path().c_str());
    }
  }
  write_failure_line(answer);
  return answer.code;
}

/// `answer_of` for a call that needs the module. Leaves libcrypto's error queue, which the host program uses
/// too, as it was.
template <typename Operation>
CK_RV entry_point(const char* call, Operation operation) noexcept {
  return answer_of(call, [&] {
    Module& module = Module::required();
    const OpensslErrors own;
    operation(module);
  });
}

/// `entry_point` for a call in a session. Errors of the session come before those of the other arguments
/// (PKCS #11 2.40 base, 5.1.7).
template <typename Operation>
CK_RV session_call(const char* call, CK_SESSION_HANDLE session, Operation operation) noexcept {
  return entry_point(call, [&](Module& module) { operation(module.session(session)); });
}

/// `session_call` for a call with an object; the failure line names the object.
template <typename Operation>
CK_RV object_call(const char* call, CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object,
                  Operation operation) noexcept {
  return session_call(call, session, [&](Session& opened) {
    try {
      operation(opened);
    } catch (Error& error) {
      if (is_logged(error)) {
        error.set_subject(opened.description_of(object, error.code()));
      }
      throw;
    }
  });
}

/// `session_call` for a call that continues the active operation `Kind`; `step` returns whether it ends.
template <typename Kind, typename Step>
CK_RV operation_call(const char* call, CK_SESSION_HANDLE session, Step step) noexcept {
  return session_call(call, session, [&](Session& opened) { opened.continue_operation<Kind>(step); });
}

}  // namespace tee_token
