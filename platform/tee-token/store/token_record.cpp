// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/token_record.h"

#include "base/error.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

constexpr sqlite3_int64 kApplication = 0x54454554;  // "TEET"
constexpr sqlite3_int64 kVersion = 1;

constexpr char kTokenTable[] =
    "CREATE TABLE token (id INTEGER PRIMARY KEY CHECK (id = 1), label BLOB NOT NULL, serial BLOB NOT NULL,"
    " officer_salt BLOB NOT NULL, officer_key BLOB NOT NULL, user_salt BLOB, user_key BLOB,"
    " mac BLOB NOT NULL);";

Mac mac_of(const TokenRecord& record, const Bytes& key) {
  Mac mac(key);
  mac.add(record.label).add(record.serial).add(record.officer.salt).add(record.officer.sealed);
  if (record.user) {
    mac.add(record.user->salt).add(record.user->sealed);
  }
  return mac;
}

sqlite3_int64 number(Database& store, const char* sql) {
  Query query = store.query(sql);
  return query.step() ? query.number(0) : 0;
}

}  // namespace

Bytes token_record_key(const Bytes& device_key) {
  return derive_key(device_key, std::string("tee-token"), std::string("tee-token record"));
}

void create_tables(Database& store) {
  store.execute(kTokenTable);
  ObjectStore::create_tables(store, kTokenNumbers);
  store.execute("PRAGMA application_id = 0x54454554; PRAGMA user_version = 1;");
}

bool is_token_store(Database& store) {
  const Snapshot snapshot(store);
  const sqlite3_int64 application = number(store, "PRAGMA application_id");
  const sqlite3_int64 version = number(store, "PRAGMA user_version");
  if (version == 0 && application == 0 && store.schema().empty()) {
    return false;
  }
  if (application != kApplication) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED,
                  "the store is another program's database; choose another folder with TEE_TOKEN_DIR");
  }
  if (version != kVersion) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the store has version " + std::to_string(version) +
                                                ", this libteetoken.so works with version " +
                                                std::to_string(kVersion) + "; nothing was changed");
  }
  if (store.schema() != std::string(kTokenTable) + ObjectStore::schema()) {
    throw Damage("its schema is not that of a token");
  }
  return true;
}

TokenRecord load_token_record(Database& store, const Bytes& key) {
  Query query =
      store.query("SELECT label, serial, officer_salt, officer_key, user_salt, user_key, mac FROM token");
  if (!query.step()) {
    throw Failure(CKR_DEVICE_ERROR,
                  "the store is damaged: it has no token record; only a new token in an empty folder helps");
  }
  TokenRecord record{query.bytes(0), query.bytes(1), {query.bytes(2), query.bytes(3)}, std::nullopt};
  if (!query.is_null(5)) {
    record.user = WrappedKey{query.bytes(4), query.bytes(5)};
  }
  if (!mac_of(record, key).matches(query.bytes(6))) {
    throw Failure(CKR_DEVICE_ERROR,
                  "the store is damaged or from another device: its token record does not match; put a copy "
                  "of the whole folder back, or make a new token in an empty folder");
  }
  return record;
}

void save_token_record(Database& store, const TokenRecord& record, const Bytes& key) {
  const Bytes mac = mac_of(record, key).result();
  Query query = store.query(
      "INSERT OR REPLACE INTO token (id, mac, label, serial, officer_salt, officer_key, user_salt, user_key)"
      " VALUES (1, ?, ?, ?, ?, ?, ?, ?)");
  query.bind(mac).bind(record.label).bind(record.serial).bind(record.officer.salt);
  query.bind(record.officer.sealed);
  if (record.user) {
    query.bind(record.user->salt).bind(record.user->sealed);
  }
  query.run();
}

}  // namespace tee_token
