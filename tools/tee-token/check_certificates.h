// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "finding.h"
#include "shared/token_access.h"

namespace tee_token_admin {

/// Finds single certificates that cannot be read or are out of date, and trust groups that are not sound:
/// roots without their group, groups twice, roots that are no authority's.
void check_certificates(Findings& findings, TokenSession& token, unsigned days);

}  // namespace tee_token_admin
