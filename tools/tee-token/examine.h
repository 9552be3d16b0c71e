// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>
#include <botan/p11_types.h>

#include <functional>

#include "finding.h"

namespace tee_token_admin {

/// Takes one step with an object. That it cannot be read or used is a finding; that it is gone meanwhile is
/// none.
void examine(Findings& findings, Botan::PKCS11::ObjectHandle object, const std::function<void()>& step);

}  // namespace tee_token_admin
