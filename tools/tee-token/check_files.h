// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "finding.h"
#include "store/device_folder.h"

namespace tee_token_admin {

/// Finds what is wrong with the files of the platform's token: absence, owner, mode, length, the database's
/// own integrity, and drafts that a stop left.
void check_files(Findings& findings, const tee_token::DeviceFolder& folder);

}  // namespace tee_token_admin
