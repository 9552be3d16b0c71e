// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace provisioning {

/// Takes a device through the life of its client certificate and returns the number of steps. The first step
/// that fails throws. The working folder is the current one, the token that of TEE_TOKEN_DIR;
/// `programs` is the folder of tee-token and mutual-tls. `explained`: prints what each step means.
int provision(const std::string& programs, bool explained);

}  // namespace provisioning
