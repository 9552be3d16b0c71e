// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "tee_token/vendor_interface.h"

namespace tee_token {

/// Name of a Cryptoki return value, "CKR_PIN_INCORRECT"; "CKR_0x..." for one without a name.
std::string return_value_name(CK_RV code);

}  // namespace tee_token
