// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>

#include <string>

#include "failure.h"

namespace cci {

/// What an exception of the library says: "cannot `what`: " with the reason and what to try.
Failure token_failure(const std::string& what, const Botan::Exception& error);

/// Whether the exception is the token's way to say that there is no such object.
bool says_not_there(const Botan::Exception& error);

}  // namespace cci
