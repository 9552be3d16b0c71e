#pragma once

#include "device_folder.h"

namespace tee_token_admin {

/// What a backup holds of a token's folder: all but the device's key.
struct TokenCopy {
  tee_token::Bytes tries;  // the PIN counters
  tee_token::Bytes store;  // the database file
};

/// The folder's content at one moment, also while others work with it.
TokenCopy copy_of(const tee_token::DeviceFolder& folder);

/// The copy, encrypted and authenticated under a key that only the device has.
tee_token::Bytes sealed(const TokenCopy& copy, const tee_token::DeviceFolder& folder);

/// The reverse. Throws UsageError when `file` is no backup, of another device, or altered.
TokenCopy unsealed(tee_token::ByteView file, const tee_token::DeviceFolder& folder);

/// Whether a file begins as backups do.
bool is_backup(tee_token::ByteView file);

/// Puts the store of the copy in the folder, at once or not at all, and its counters unless there are some:
/// tries that were spent stay spent.
void put_in_place(const TokenCopy& copy, const tee_token::DeviceFolder& folder);

}  // namespace tee_token_admin
