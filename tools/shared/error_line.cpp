// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/error_line.h"

#include <botan/p11.h>

#include <map>

#include "base/error.h"

namespace tee_token_admin {
namespace {

struct Meaning {
  int exit_code;
  const char* hint;
};

// The reason of each failure is in a line that the platform's token writes itself.
const std::map<CK_RV, Meaning> kMeanings = {
    {CKR_ATTRIBUTE_SENSITIVE, {kFailed, "the value does not leave the token"}},
    {CKR_DEVICE_ERROR, {kUnusable, "the token cannot be used; see its line above, or run: tee-token check"}},
    {CKR_DEVICE_MEMORY, {kUnusable, "the token is full, or its TPM; see its line above"}},
    {CKR_DEVICE_REMOVED, {kUnusable, "the token was initialised again meanwhile; try again"}},
    {CKR_OBJECT_HANDLE_INVALID, {kFailed, "the object was destroyed meanwhile; see tee-token list"}},
    {CKR_PIN_INCORRECT,
     {kWrongPin,
      "wrong PIN; give the right one with --pin-hex or --so-pin-hex, or run: tee-token reset-pin "
      "--platform-pin"}},
    {CKR_PIN_LEN_RANGE, {kWrongPin, "the token does not accept a PIN of this length"}},
    {CKR_PIN_LOCKED, {kWrongPin, "too many wrong PINs; run: tee-token reset-pin --platform-pin"}},
    {CKR_TOKEN_NOT_PRESENT, {kNoToken, "there is no token; make one with tee-token init"}},
    {CKR_TOKEN_NOT_RECOGNIZED, {kNoToken, "the token is not initialised; run: tee-token init"}},
    {CKR_TOKEN_WRITE_PROTECTED, {kUnusable, "the token is read-only"}},
    {CKR_USER_PIN_NOT_INITIALIZED,
     {kNoToken, "the user has no PIN yet; run: tee-token reset-pin --platform-pin"}},
};

}  // namespace

int exit_code_of(CK_RV code) {
  const auto meaning = kMeanings.find(code);
  return meaning == kMeanings.end() ? kFailed : meaning->second.exit_code;
}

std::string text_of_error(CK_RV code) {
  const auto meaning = kMeanings.find(code);
  return tee_token::return_value_name(code) + ": " +
         (meaning == kMeanings.end()
              ? "the token refused the call; its line above has the reason, or TEE_TOKEN_LOG=all shows it"
              : meaning->second.hint);
}

std::string reason_of(const Botan::Exception& error) {
  const auto* const returned = dynamic_cast<const Botan::PKCS11::PKCS11_ReturnError*>(&error);
  return returned == nullptr ? error.what()
                             : tee_token::return_value_name(static_cast<CK_RV>(returned->get_return_value()));
}

bool is_absence(const Botan::Exception& error) { return reason_of(error) == "CKR_OBJECT_HANDLE_INVALID"; }

std::string help_on_exit_codes() {
  return "Exit code: 0 done, 1 failed, 2 wrong command line, 3 wrong or locked PIN,\n"
         "4 no token or not initialised, 5 token cannot be used; more in check --help\n";
}

}  // namespace tee_token_admin
