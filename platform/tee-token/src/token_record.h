#pragma once

#include "key_wrapping.h"
#include "sqlite.h"

namespace tee_token {

/// What the store says of the token as a whole.
struct TokenRecord {
  Bytes label;   // 32 characters, padded with blanks
  Bytes serial;  // 16 hexadecimal digits, new with each initialisation
  WrappedKey officer;
  std::optional<WrappedKey> user;  // none until the security officer has set a PIN
};

/// Makes the table of the record and marks the database as a token's store.
void create_token_schema(Database& store);

/// Whether the database is a token's store; false when it is empty. Throws a Failure
/// (CKR_TOKEN_NOT_RECOGNIZED) for a database of another kind or of a newer version.
bool is_token_store(Database& store);

/// The record of a token's store.
TokenRecord load_token_record(Database& store);

/// Its serial number alone.
Bytes token_serial(Database& store);

/// Puts `record` in the place of the one that is there.
void save_token_record(Database& store, const TokenRecord& record);

}  // namespace tee_token
