// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vector>

#include "store/object_store.h"

namespace tee_token {

/// Puts permanent copies of the `added` objects in the place of the `installed` ones, within the caller's
/// change. Throws a Failure with the codes of vendor_interface.h when the two lists are not what they have to
/// be.
void replace_installed(ObjectStore& store, const std::vector<CK_OBJECT_HANDLE>& installed,
                       const std::vector<CK_OBJECT_HANDLE>& added);

}  // namespace tee_token
