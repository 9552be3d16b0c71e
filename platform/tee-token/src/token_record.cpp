#include "token_record.h"

#include "error.h"

namespace tee_token {
namespace {

constexpr sqlite3_int64 kApplication = 0x54454554;  // "TEET", in the header of the file
constexpr sqlite3_int64 kVersion = 1;

sqlite3_int64 pragma(Database& store, const char* question) {
  Query query = store.query(question);
  return query.step() ? query.number(0) : 0;
}

void require_known(sqlite3_int64 application, sqlite3_int64 version) {
  if (application != kApplication) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the store is not a token's: another program's database");
  }
  if (version > kVersion) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the store has version " + std::to_string(version) +
                                                ", this module knows up to " + std::to_string(kVersion) +
                                                "; use a newer libteetoken.so");
  }
}

}  // namespace

void create_token_schema(Database& store) {
  store.execute(
      "CREATE TABLE token (id INTEGER PRIMARY KEY CHECK (id = 1), label BLOB NOT NULL, serial BLOB NOT NULL,"
      " officer_salt BLOB NOT NULL, officer_key BLOB NOT NULL, user_salt BLOB, user_key BLOB);"
      "PRAGMA application_id = 0x54454554;"
      "PRAGMA user_version = 1;");
}

bool is_token_store(Database& store) {
  const Snapshot snapshot(store);
  const sqlite3_int64 version = pragma(store, "PRAGMA user_version");
  const sqlite3_int64 application = pragma(store, "PRAGMA application_id");
  if (version == 0 && application == 0 && pragma(store, "SELECT count(*) FROM sqlite_schema") == 0) {
    return false;
  }
  require_known(application, version);
  return true;
}

Bytes token_serial(Database& store) {
  Query query = store.query("SELECT serial FROM token");
  return query.step() ? query.bytes(0) : Bytes();
}

TokenRecord load_token_record(Database& store) {
  Query query =
      store.query("SELECT label, serial, officer_salt, officer_key, user_salt, user_key FROM token");
  if (!query.step()) {
    throw Failure(CKR_DEVICE_ERROR,
                  "the store is damaged: it says nothing of the token; put a backup back with: tee-token "
                  "restore --force");
  }
  TokenRecord record{query.bytes(0), query.bytes(1), {query.bytes(2), query.bytes(3)}, std::nullopt};
  if (!query.is_null(5)) {
    record.user = WrappedKey{query.bytes(4), query.bytes(5)};
  }
  return record;
}

void save_token_record(Database& store, const TokenRecord& record) {
  Query query = store.query("INSERT OR REPLACE INTO token VALUES (1, ?, ?, ?, ?, ?, ?)");
  query.bind(record.label).bind(record.serial).bind(record.officer.salt).bind(record.officer.sealed);
  if (record.user) {
    query.bind(record.user->salt).bind(record.user->sealed);
  }
  query.run();
}

}  // namespace tee_token
