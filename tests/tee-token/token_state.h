// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "token_test.h"

namespace token_test {

/// PINs that a user may have, in the order in which they are tried.
using Pins = std::vector<Value>;

/// All objects that the session sees, one a line: number, attributes, and of a private key also the number of
/// the public key that verifies what it signs. Points of keys above `last_known`, which are random, are left
/// out.
std::string objects_text(const CK_FUNCTION_LIST& token, CK_SESSION_HANDLE session,
                         CK_OBJECT_HANDLE last_known);

/// All that a program that starts now learns of the token: whether there is one, which PINs open it, and its
/// objects. The module must not be initialised.
std::string token_text(const CK_FUNCTION_LIST& token, const Pins& user, const Pins& officer,
                       CK_OBJECT_HANDLE last_known);

/// How far the counters are: the flags of C_GetTokenInfo.
std::string tries_text(const CK_FUNCTION_LIST& token);

}  // namespace token_test
