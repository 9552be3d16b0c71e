// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "chain.h"
#include "notes.h"
#include "status.h"
#include "token.h"

namespace cci {

/// Reads the chain, looks whether it is for the key pair that waits, and installs it. What is known not to
/// work is not tried, so that the key pair goes on waiting. Returns what is installed afterwards.
Status install_chain(const Token& token, const ChainText& chain, Notes& notes);

}  // namespace cci
