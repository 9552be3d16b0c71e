// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "finding.h"
#include "shared/token_access.h"

namespace tee_token_admin {

/// Finds half pairs, identities with parts missing or doubled, keys that cannot sign or do not belong
/// together, chains that are not their key's or not in order, certificates out of date, and temporary objects
/// that no operation will use. Needs the user.
void check_identities(Findings& findings, TokenSession& token, unsigned days);

}  // namespace tee_token_admin
