// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/token_record.h"

#include "base/error.h"
#include "crypto/mac.h"

namespace tee_token {
namespace {

Mac mac_of(const TokenRecord& record, const Bytes& key) {
  Mac mac(key);
  mac.add(record.label).add(record.serial).add(record.officer.salt).add(record.officer.sealed);
  if (record.user) {
    mac.add(record.user->salt).add(record.user->sealed);
  }
  return mac;
}

bool is_authentic(Database& store, const TokenRecord& record, const Bytes& key) {
  Query query = store.query("SELECT mac FROM token");
  return query.step() && mac_of(record, key).is(query.bytes(0));
}

}  // namespace

Bytes record_key(const Bytes& device_key) {
  return derive_key(device_key, std::string("tee-token"), std::string("tee-token record"));
}

void create_token_schema(Database& store) {
  store.execute(
      "CREATE TABLE token (id INTEGER PRIMARY KEY CHECK (id = 1), label BLOB NOT NULL, serial BLOB NOT NULL,"
      " officer_salt BLOB NOT NULL, officer_key BLOB NOT NULL, user_salt BLOB, user_key BLOB, mac BLOB);"
      "PRAGMA application_id = 0x54454554;"
      "PRAGMA user_version = 2;");
}

Bytes token_serial(Database& store) {
  Query query = store.query("SELECT serial FROM token");
  return query.step() ? query.bytes(0) : Bytes();
}

TokenRecord load_token_record(Database& store, const Bytes& key) {
  Query query =
      store.query("SELECT label, serial, officer_salt, officer_key, user_salt, user_key FROM token");
  if (!query.step()) {
    throw Failure(CKR_DEVICE_ERROR,
                  "the store is damaged: it has no token record; only a new token in an empty folder "
                  "helps");
  }
  TokenRecord record{query.bytes(0), query.bytes(1), {query.bytes(2), query.bytes(3)}, std::nullopt};
  if (!query.is_null(5)) {
    record.user = WrappedKey{query.bytes(4), query.bytes(5)};
  }
  if (!key.empty() && !is_authentic(store, record, key)) {
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
