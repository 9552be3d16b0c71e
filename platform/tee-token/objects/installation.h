// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vector>

#include "store/token.h"

namespace tee_token {

/// Replaces the `installed` objects by permanent copies of the `added` ones, in one transaction. Throws a
/// Failure with a code of vendor_interface.h, and changes nothing, when it refuses one of the lists.
void install(Token& token, const std::vector<CK_OBJECT_HANDLE>& installed,
             const std::vector<CK_OBJECT_HANDLE>& added);

}  // namespace tee_token
