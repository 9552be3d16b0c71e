// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "base/error.h"

namespace tee_token {

/// What a call answers, and its failure line; empty where none is wanted.
struct Answer {
  CK_RV code = CKR_OK;
  std::string line;
};

/// Turns the exception in flight into the answer of `call`, with a line such as
///
///     tee-token: C_Login: CKR_PIN_INCORRECT: /var/lib/tee: this is not the PIN of the user; tries left: 9
///
/// To be called in a catch block. docs/token.md says which lines are written, and where.
Answer answer_for_current_exception(const char* call, const char* folder) noexcept;

/// Writes the line of `answer`. May take as long as a reader of stderr likes: not to be called under a lock.
void tell(const Answer& answer) noexcept;

/// Whether the line of `error` will be written.
bool is_told(const Error& error);

}  // namespace tee_token
