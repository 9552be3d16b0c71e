// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/object_store.h"

namespace tee_token {

/// The data of the token as a whole: the row of the table `token`.
struct TokenRecord {
  Bytes label;   // 32 characters, padded with blanks
  Bytes serial;  // 16 hexadecimal digits, new with each initialisation
  WrappedKey officer;
  std::optional<WrappedKey> user;  // none until the security officer has set a PIN
};

/// The key that authenticates the record.
Bytes token_record_key(const Bytes& device_key);

/// Makes all tables, and marks the database as a token's store of this version.
void create_tables(Database& store);

/// Whether the database is a token's store; false when it is empty. Throws a Failure
/// (CKR_TOKEN_NOT_RECOGNIZED) for another program's database or a store of another version, Damage when the
/// schema is another one.
bool is_token_store(Database& store);

/// The record. Throws a Failure (CKR_DEVICE_ERROR) when it is missing or not as it was stored.
TokenRecord load_token_record(Database& store, const Bytes& key);

/// Inserts the record or replaces the one that is there.
void save_token_record(Database& store, const TokenRecord& record, const Bytes& key);

}  // namespace tee_token
