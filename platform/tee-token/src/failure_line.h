#pragma once

#include <string>

#include "cryptoki.h"

namespace tee_token {

/// Turns the exception in flight into the code that `call` answers, and writes its failure line:
///
///     tee-token: C_Login: CKR_PIN_INCORRECT: /var/lib/tee: this is not the PIN of the user; tries left: 9
///
/// TEE_TOKEN_LOG chooses which: "failures" (default: what a person has to look at), "all" (every answer other
/// than CKR_OK), "off". TEE_TOKEN_LOG_FD is the number of the open file they go to, stderr if not set. To be
/// called in a catch block.
CK_RV answer_for_current_exception(const char* call, const char* folder) noexcept;

}  // namespace tee_token
