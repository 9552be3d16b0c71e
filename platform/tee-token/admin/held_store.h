#pragma once

#include <sqlite3.h>

#include <string>

#include "bytes.h"
#include "openssl_handles.h"

namespace tee_token_admin {

using Connection = tee_token::Owned<sqlite3, sqlite3_close>;

/// The bytes of the database file as they are between two changes. Throws UsageError.
tee_token::Bytes image_of_store(const std::string& path);

/// Keeps all others off the database while its file is replaced, and leaves no journal that would be played
/// back into the new one. A database that is damaged or not there holds nobody off.
class HeldStore {
 public:
  /// Throws UsageError when another process holds the database for 5 s.
  explicit HeldStore(const std::string& path);

 private:
  Connection m_connection;
};

}  // namespace tee_token_admin
