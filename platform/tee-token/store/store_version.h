// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/device_folder.h"
#include "store/sqlite.h"

namespace tee_token {

/// Version of the store that this module makes: all records in it are authenticated. In version 1 they are
/// not.
constexpr sqlite3_int64 kStoreVersion = 2;

/// Whether the database is a token's store; false when it is empty. Throws a Failure
/// (CKR_TOKEN_NOT_RECOGNIZED) for a database of another kind or of a newer version.
bool is_token_store(Database& store);

/// The version that a store says it has.
sqlite3_int64 version_in(Database& store);

/// The version of a token's store. Throws a Failure (CKR_DEVICE_ERROR) when it is older than the one that the
/// folder has noted: who could set it back could go around all authentication.
sqlite3_int64 store_version(Database& store, const DeviceFolder& folder);

/// Notes in the folder that the store has reached `kStoreVersion`, if it has, and that is made durable first.
void note_store_version(Database& store, const DeviceFolder& folder);

}  // namespace tee_token
