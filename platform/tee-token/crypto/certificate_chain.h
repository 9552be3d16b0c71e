// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/bytes.h"
#include "crypto/ec_key.h"

namespace tee_token {

/// Whether one of the DER certificates that stand back to back in `chain` carries `key`; false when the bytes
/// are not certificates throughout.
bool chain_carries(const Bytes& chain, const EcPublicKey& key);

}  // namespace tee_token
