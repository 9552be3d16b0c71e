#pragma once

#include <sqlite3.h>

#include <string>

#include "bytes.h"
#include "openssl_handles.h"

namespace tee_token_admin {

using Connection = tee_token::Owned<sqlite3, sqlite3_close>;

/// The bytes of the database file as they are between two changes. Throws UsageError.
tee_token::Bytes image_of_store(const std::string& path);

/// The image with its next object numbers above `last`: a number is never given twice, also not when an older
/// store comes back. Throws UsageError.
tee_token::Bytes with_numbers_above(const tee_token::Bytes& image, sqlite3_int64 last);

/// Keeps all others off the database while its file is replaced, and leaves no journal that would be played
/// back into the new one. A database that is damaged or not there holds nobody off.
class HeldStore {
 public:
  /// Throws UsageError when another process holds the database for 5 s.
  explicit HeldStore(const std::string& path);

  /// The last object number that the database has given; 0 when it is damaged or not there.
  sqlite3_int64 last_number() const;

 private:
  Connection m_connection;
};

}  // namespace tee_token_admin
