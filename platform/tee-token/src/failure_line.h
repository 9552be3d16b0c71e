#pragma once

#include <string>

#include "error.h"

namespace tee_token {

/// Turns the exception in flight into the code that `call` answers, and writes its failure line:
///
///     tee-token: C_Login: CKR_PIN_INCORRECT: /var/lib/tee: this is not the PIN of the user; tries left: 9
///
/// To be called in a catch block. docs/token.md says which lines are written, and where.
CK_RV answer_for_current_exception(const char* call, const char* folder) noexcept;

/// Whether the line of `error` will be written.
bool is_told(const Error& error);

}  // namespace tee_token
