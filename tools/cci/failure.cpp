// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "failure.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace cci {
namespace {

constexpr int kObjectHandleInvalid = 0x82;

// Return values of PKCS #11 (v2.40, 5.1) that determine the class of a failure. They are the error codes of
// the library's exceptions.
const struct {
  int code;
  Exit exit;
  const char* name;
  const char* hint;
} kReturnValues[] = {
    {0x02, Exit::kTokenFailed, "CKR_HOST_MEMORY", "there is not enough memory"},
    {0x05, Exit::kTokenFailed, "CKR_GENERAL_ERROR", "the token failed; try again"},
    {0x06, Exit::kTokenFailed, "CKR_FUNCTION_FAILED", "the token failed; try again"},
    {0x30, Exit::kTokenFailed, "CKR_DEVICE_ERROR", "the token cannot be used; run: tee-token check"},
    {0x31, Exit::kTokenFailed, "CKR_DEVICE_MEMORY", "the token is full; make room on it"},
    {0x32, Exit::kTokenFailed, "CKR_DEVICE_REMOVED", "the token was replaced meanwhile; try again"},
    {0xA0, Exit::kPin, "CKR_PIN_INCORRECT",
     "the token's user PIN is not the platform's, and each call spends one of ten tries; run: tee-token "
     "reset-pin --platform-pin"},
    {0xA1, Exit::kPin, "CKR_PIN_INVALID", "the token does not accept the platform's user PIN"},
    {0xA2, Exit::kPin, "CKR_PIN_LEN_RANGE", "the token does not accept the platform's user PIN"},
    {0xA3, Exit::kPin, "CKR_PIN_EXPIRED",
     "the user PIN has expired; run: tee-token reset-pin --platform-pin"},
    {0xA4, Exit::kPin, "CKR_PIN_LOCKED",
     "the user PIN is locked after too many wrong tries; run: tee-token reset-pin --platform-pin"},
    {0xB0, Exit::kTokenFailed, "CKR_SESSION_CLOSED", "the token closed the session; try again"},
    {0xB3, Exit::kTokenFailed, "CKR_SESSION_HANDLE_INVALID", "the token closed the session; try again"},
    {0xE0, Exit::kNoToken, "CKR_TOKEN_NOT_PRESENT", "the token was removed meanwhile"},
    {0xE1, Exit::kNoToken, "CKR_TOKEN_NOT_RECOGNIZED", "the token is not initialised; run: tee-token init"},
    {0xE2, Exit::kTokenFailed, "CKR_TOKEN_WRITE_PROTECTED", "the token is read-only"},
    {0x102, Exit::kNoToken, "CKR_USER_PIN_NOT_INITIALIZED",
     "the token has no user PIN yet; run: tee-token reset-pin --platform-pin"},
};

Failure failure_of_code(const std::string& what, int code) {
  const auto row = std::find_if(std::begin(kReturnValues), std::end(kReturnValues),
                                [code](const auto& each) { return each.code == code; });
  if (row == std::end(kReturnValues)) {
    std::ostringstream text;
    text << "cannot " << what << ": the token refused with PKCS#11 code 0x" << std::hex << code;
    return Failure(Exit::kRefused, text.str() + "; --verbose shows the steps");
  }
  return Failure(row->exit, "cannot " + what + ": " + row->name + ": " + row->hint);
}

}  // namespace

Failure token_failure(const std::string& what, const Botan::Exception& error) {
  if (error.error_type() == Botan::ErrorType::Pkcs11Error && error.error_code() != 0) {
    return failure_of_code(what, error.error_code());
  }
  const bool unknown = error.error_type() == Botan::ErrorType::LookupError;
  return Failure(unknown ? Exit::kNotFound : Exit::kTokenFailed, "cannot " + what + ": " + error.what());
}

bool is_absence(const Botan::Exception& error) {
  return error.error_type() == Botan::ErrorType::Pkcs11Error && error.error_code() == kObjectHandleInvalid;
}

}  // namespace cci
