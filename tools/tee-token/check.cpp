// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "check_certificates.h"
#include "check_files.h"
#include "check_identities.h"
#include "commands.h"
#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

/// The platform's token is files as well.
void check_files_of(Findings& findings, const Target& target) {
  const auto folder = tee_token::DeviceFolder::of_environment();
  if (is_platforms(target) && folder.exists()) {
    check_files(findings, folder);
  }
}

/// Returns whether the user may try to log in.
bool check_pins(Findings& findings, const Target& target) {
  OpenSlot open(target, true);
  const CK_FLAGS flags = open.slot().get_token_info().flags;
  const struct {
    CK_FLAGS flag;
    const char* text;
  } rules[] = {
      {CKF_USER_PIN_LOCKED, "the user's is locked; set a new one with: tee-token reset-pin"},
      {CKF_USER_PIN_FINAL_TRY, "the user has one try left; a right PIN gives all tries back"},
      {CKF_SO_PIN_LOCKED, "the security officer's is locked; only a new token in an empty folder helps"},
      {CKF_SO_PIN_FINAL_TRY, "the security officer has one try left; a right PIN gives all tries back"},
  };
  for (const auto& rule : rules) {
    if ((flags & rule.flag) != 0) {
      findings.add(Fault::kPin, rule.text);
    }
  }
  return (flags & (CKF_USER_PIN_LOCKED | CKF_USER_PIN_FINAL_TRY)) == 0;
}

/// Returns the number of objects.
std::size_t check_objects(Findings& findings, const Target& target, unsigned days) {
  TokenSession token(target);
  token.login(UserType::User);
  check_identities(findings, token, days);
  check_certificates(findings, token, days);
  return token.find(AttributeContainer()).size();
}

}  // namespace

int check(const Target& target, unsigned days, bool json) {
  Findings findings;
  check_files_of(findings, target);
  std::string conclusion = "the objects were not looked at";
  if (!findings.has(Fault::kFiles) && check_pins(findings, target)) {
    conclusion = counted(check_objects(findings, target, days), "object") + " looked at";
  }
  findings.print(counted(findings.count(), "finding") + ", " + conclusion, json);
  return findings.exit_code();
}

}  // namespace tee_token_admin
