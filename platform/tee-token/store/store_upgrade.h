// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/sqlite.h"

namespace tee_token {

/// Makes the tables of version 1 those of version 2, with room for the MACs, within the caller's change.
void upgrade_tables(Database& store);

/// Makes a store of version 1 one of version 2, within the caller's change: each record as it is found gets
/// its MAC. An object that has not the form of one gets none, and stays damaged.
void upgrade_store(Database& store, const Bytes& device_key);

}  // namespace tee_token
