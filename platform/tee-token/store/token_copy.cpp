// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>

#include "base/error.h"
#include "store/store_upgrade.h"
#include "store/token.h"

namespace tee_token {
namespace {

void require_integrity(Database& store) {
  const std::string said = store.integrity();
  if (said != "ok") {
    throw Damage(CKR_DEVICE_ERROR, "the store is damaged: " + said);
  }
}

/// Tables, indexes and their columns. The columns' order, which an upgrade may change, does not matter.
Bytes schema_of(Database& store) {
  Query query = store.query(
      "SELECT group_concat(line, char(10)) FROM (SELECT concerned.type || ' ' || concerned.name || ' of ' ||"
      " concerned.tbl_name || ' ' || (rootpage > 0) || ' ' || coalesce(part.name || ' ' || part.pk, '') AS "
      "line"
      " FROM sqlite_schema AS concerned LEFT JOIN pragma_table_xinfo(concerned.name) AS part ORDER BY line)");
  return query.step() ? query.bytes(0) : Bytes();
}

void require_own_schema(Database& store) {
  Database made(":memory:");
  create_store(made);
  if (schema_of(store) != schema_of(made)) {
    throw Failure(CKR_DEVICE_ERROR, "the store is damaged: its tables are not those of a token");
  }
}

// Above are the numbers of session objects.
void require_own_numbers(Database& store) {
  Query query = store.query(
      "SELECT 1 FROM object WHERE number NOT BETWEEN 1 AND (1 << 62) - 1 UNION ALL "
      "SELECT 1 FROM sqlite_sequence WHERE seq NOT BETWEEN 0 AND (1 << 62) - 1");
  if (query.step()) {
    throw Failure(CKR_DEVICE_ERROR, "the store is damaged: it has object numbers that no token gives");
  }
}

std::string columns_of(Database& store, const std::string& table) {
  Query query = store.query("SELECT group_concat(name) FROM pragma_table_info(?)");
  query.bind(table).step();
  const Bytes columns = query.bytes(0);
  return std::string(columns.begin(), columns.end());
}

void copy_rows(Database& store, const std::string& table, const std::string& condition) {
  const std::string columns = columns_of(store, table);
  store.execute(("INSERT INTO main." + table + " (" + columns + ") SELECT " + columns + " FROM copy." +
                 table + condition)
                    .c_str());
}

/// Without session objects, which end with their sessions.
void exchange_content(Database& store) {
  store.execute("DELETE FROM main.attribute; DELETE FROM main.object; DELETE FROM main.token");
  copy_rows(store, "token", "");
  copy_rows(store, "object", " WHERE session = 0");
  copy_rows(store, "attribute", " WHERE object IN (SELECT number FROM main.object)");
  store.execute(
      "UPDATE main.sqlite_sequence SET seq = max(seq, (SELECT coalesce(max(seq), 0) FROM "
      "copy.sqlite_sequence))");
}

}  // namespace

std::string Token::copy_of_store() {
  require_initialised();
  const Snapshot snapshot(*m_store);
  require_sound();
  return m_store->image();
}

void Token::require_sound() {
  require_integrity(*m_store);
  require_own_schema(*m_store);
  require_own_numbers(*m_store);
  record();
  m_folder.device_key();
  Query all = m_store->query("SELECT number FROM object WHERE session = 0");
  while (all.step()) {
    objects().store_for(true).load(static_cast<CK_OBJECT_HANDLE>(all.number(0)));
  }
}

void Token::restore(const std::string& copy, bool may_be_another) {
  m_folder.require_private();
  m_folder.device_key();
  try {
    open_or_create_store();
    m_store->attach_copy(copy);
    Change change(*m_store);
    m_store->require_in_place();
    prepare_for_copy(may_be_another);
    exchange_content(*m_store);
    change.commit();
  } catch (const Damage& damage) {
    const std::string store = m_folder.file("token.db");
    throw Failure(CKR_DEVICE_ERROR, std::string(damage.what()) +
                                        "; stop the programs that use the token, move " + store + " and " +
                                        store + "-journal away, and repeat");
  }
}

void Token::prepare_for_copy(bool may_be_another) {
  if (!is_token_store(*m_store)) {
    if (!std::filesystem::exists(std::filesystem::symlink_status(m_folder.file("pin-tries")))) {
      make_counters(m_folder, kStoreVersion);
    }
    create_store(*m_store);
    return;
  }
  require_integrity(*m_store);
  if (version_in(*m_store) < kStoreVersion) {
    upgrade_tables(*m_store);  // what is in them is replaced
  }
  if (!may_be_another && !m_store->query("SELECT 1 FROM main.token JOIN copy.token USING (serial)").step()) {
    throw Error(CKR_ACTION_PROHIBITED,
                "the token is another than that of the backup, and was left as it is; --force replaces it");
  }
}

}  // namespace tee_token
