// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/store_upgrade.h"

#include "store/object_store.h"
#include "store/token_record.h"

namespace tee_token {
namespace {

void authenticate_objects(Database& store, const Bytes& mac_key) {
  const Bytes none;
  ObjectStore old(store, none, none), upgraded(store, none, mac_key);
  for (CK_OBJECT_HANDLE object = 0; (object = old.next_match(Attributes(), object)) != 0;) {
    try {
      upgraded.authenticate(object, old.load(object).value());
    } catch (const DamagedObject&) {
      // is told to whoever uses it
    }
  }
}

}  // namespace

void upgrade_tables(Database& store) {
  store.execute(
      "ALTER TABLE token ADD COLUMN mac BLOB;"
      "ALTER TABLE object ADD COLUMN mac BLOB;"
      "PRAGMA user_version = 2;");
}

void upgrade_store(Database& store, const Bytes& device_key) {
  const TokenRecord record = load_token_record(store, Bytes());
  upgrade_tables(store);
  save_token_record(store, record, record_key(device_key));
  authenticate_objects(store, ObjectStore::mac_key(device_key, record.serial));
}

}  // namespace tee_token
