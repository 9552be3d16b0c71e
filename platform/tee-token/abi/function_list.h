// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/cryptoki.h"

/// On the functions that a program finds by name; all others are reached through them.
#define TEE_EXPORT __attribute__((visibility("default")))

namespace tee_token {

/// The module's Cryptoki 2.40 functions; every entry is filled.
CK_FUNCTION_LIST* cryptoki_functions();

}  // namespace tee_token
