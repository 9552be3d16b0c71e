// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "crypto/key_wrapping.h"
#include "store/sqlite.h"

namespace tee_token {

/// What the store says of the token as a whole.
struct TokenRecord {
  Bytes label;   // 32 characters, padded with blanks
  Bytes serial;  // 16 hexadecimal digits, new with each initialisation
  WrappedKey officer;
  std::optional<WrappedKey> user;  // none until the security officer has set a PIN
};

/// The key that authenticates the record.
Bytes record_key(const Bytes& device_key);

/// Makes the table of the record and marks the database as a token's store.
void create_token_schema(Database& store);

/// The record of a token's store; `key` is empty for a store of version 1. Throws a Failure
/// (CKR_DEVICE_ERROR) when it is missing or not as it was stored.
TokenRecord load_token_record(Database& store, const Bytes& key);

/// Its serial number alone, not authenticated.
Bytes token_serial(Database& store);

/// Puts `record` in the place of the one that is there.
void save_token_record(Database& store, const TokenRecord& record, const Bytes& key);

}  // namespace tee_token
