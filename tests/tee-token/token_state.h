// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "token_test.h"

namespace token_test {

/// A token whose state can be compared.
class TokenStateTest : public TokenTest {
 protected:
  /// What a program that starts now finds: whether there is a token, which PINs open it (0 is kPin or
  /// kOfficerPin, 1 is kNewPin), and all objects, one a line: number, attributes, and of a private key also
  /// the number of the public key that verifies its signatures. Leaves the module finalised.
  std::string state();

 private:
  std::string pin_text(CK_USER_TYPE user, const Value& pin);
  std::string attributes_text(CK_OBJECT_HANDLE object);
  std::string verifier_text(CK_OBJECT_HANDLE key);
};

std::vector<std::string> lines_of(const std::string& text);

}  // namespace token_test
