#pragma once

#include "sqlite.h"

namespace tee_token {

/// Makes a store of version 1 one of version 2, within the caller's change: each record as it is found gets
/// its MAC. An object that has not the form of one gets none, and stays damaged.
void upgrade_store(Database& store, const Bytes& device_key);

}  // namespace tee_token
