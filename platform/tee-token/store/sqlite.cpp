// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/sqlite.h"

#include <algorithm>
#include <cerrno>

#include "base/files.h"

namespace tee_token {
namespace {

[[noreturn]] void fail_as_moved(sqlite3* connection) {
  find_status(sqlite3_db_filename(connection, "main"), 0);  // throws when the file cannot be looked at
  throw Failure(CKR_DEVICE_REMOVED,
                "the store was moved or removed while it was in use; call C_Finalize and C_Initialize");
}

[[noreturn]] void fail(sqlite3* connection, int code) {
  const std::string reason = connection == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(connection);
  if (connection != nullptr && sqlite3_extended_errcode(connection) == SQLITE_READONLY_DBMOVED) {
    fail_as_moved(connection);
  }
  switch (code & 0xFF) {
    case SQLITE_FULL:
      throw Failure(CKR_DEVICE_MEMORY, "the disk is full; free some space and try again");
    case SQLITE_READONLY:
      throw Failure(CKR_TOKEN_WRITE_PROTECTED, "the store is read-only (" + reason +
                                                   "); make the medium, the folder and the file writable");
    case SQLITE_BUSY:
      throw Failure(CKR_DEVICE_ERROR, "another process has held the store for more than 5 s; try again");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      throw Damage(reason);
    case SQLITE_TOOBIG:
    case SQLITE_INTERRUPT:
      throw Damage("a row or the schema is too long");
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
      errno = sqlite3_system_errno(connection);
      errno = errno == 0 ? EIO : errno;  // such as a file that is too short
      fail_with_errno("use", "the store: " + reason);
    default:
      throw Failure(CKR_DEVICE_ERROR, "cannot use the store: " + reason);
  }
}

void require(int code, sqlite3* connection) {
  if (code != SQLITE_OK) {
    fail(connection, code);
  }
}

using Connection = Owned<sqlite3, sqlite3_close>;

Connection opened(const std::string& path) {
  const StandardStreamsTaken taken;
  sqlite3* connection = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  Connection owned(connection);
  require(code, connection);
  return owned;
}

void distrust_content(sqlite3* connection) {
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kMaxRowLength);
  constexpr std::pair<int, int> kSettings[] = {
      {SQLITE_DBCONFIG_DEFENSIVE, 1}, {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, {SQLITE_DBCONFIG_ENABLE_VIEW, 0}};
  for (const auto& [setting, value] : kSettings) {
    require(sqlite3_db_config(connection, setting, value, nullptr), connection);
  }
}

}  // namespace

Query::~Query() {
  sqlite3_reset(m_statement);
  sqlite3_clear_bindings(m_statement);
}

Query& Query::bind(sqlite3_int64 number) {
  require(sqlite3_bind_int64(m_statement, m_next++, number), sqlite3_db_handle(m_statement));
  return *this;
}

Query& Query::bind(ByteView bytes) {
  // A null pointer would bind NULL, not the empty value; the caller's bytes outlive the statement's run.
  const void* const data = bytes.size == 0 ? "" : static_cast<const void*>(bytes.data);
  require(sqlite3_bind_blob64(m_statement, m_next++, data, bytes.size, SQLITE_STATIC),
          sqlite3_db_handle(m_statement));
  return *this;
}

bool Query::step() {
  const int code = sqlite3_step(m_statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    fail(sqlite3_db_handle(m_statement), code);
  }
  return code == SQLITE_ROW;
}

Bytes Query::bytes(int column) const {
  const void* const data = sqlite3_column_blob(m_statement, column);
  return ByteView(data, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))).copy();
}

Database::Database(const std::string& path) : m_connection(opened(path)) {
  distrust_content(m_connection.get());
  require(sqlite3_busy_timeout(m_connection.get(), 5'000), m_connection.get());
}

std::string Database::schema() {
  // SQLite first reads the whole schema, the token's in far fewer steps.
  sqlite3_progress_handler(
      m_connection.get(), 1000, [](void*) { return 1; }, nullptr);
  Query rows = query("SELECT ifnull(sql, '') || ';' FROM sqlite_schema ORDER BY rowid");
  std::string statements;
  while (rows.step()) {
    const Bytes statement = rows.bytes(0);
    statements.append(statement.begin(), statement.end());
  }
  sqlite3_progress_handler(m_connection.get(), 0, nullptr, nullptr);
  return statements;
}

void Database::check_integrity() {
  Query answer = query("PRAGMA integrity_check(1)");
  const Bytes text = answer.step() ? answer.bytes(0) : Bytes();
  std::string line(text.begin(), text.end());
  std::replace(line.begin(), line.end(), '\n', ' ');
  if (line != "ok") {
    throw Damage(line);
  }
}

void Database::execute(const char* sql) {
  require(sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr), m_connection.get());
}

void Database::require_in_place() {
  int moved = 0;
  if (sqlite3_file_control(m_connection.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
      moved != 0) {
    fail_as_moved(m_connection.get());
  }
}

Query Database::query(const char* sql) {
  auto& statement = m_statements[sql];
  if (statement == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    require(sqlite3_prepare_v3(m_connection.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr),
            m_connection.get());
    statement.reset(prepared);
  }
  return Query(statement.get());
}

Change::Change(Database& database) : m_database(database) {
  // Prepared now: without memory for it later, the connection would stay in the transaction for ever.
  m_database.query("ROLLBACK");
  // EXTRA also syncs the folder after the journal is unlinked: without that, a power cut could undo the
  // change.
  m_database.query("PRAGMA synchronous = EXTRA").run();
  m_database.query("BEGIN IMMEDIATE").run();
}

Change::~Change() {
  if (m_open) {
    try {
      m_database.query("ROLLBACK").run();
    } catch (const std::exception&) {
      // SQLite has rolled back by itself, or will when the store is next opened
    }
  }
}

void Change::commit() {
  m_database.query("COMMIT").run();
  m_open = false;
}

Snapshot::Snapshot(Database& database) : m_database(database), m_is_outermost(!database.is_in_transaction()) {
  if (m_is_outermost) {
    m_database.query("COMMIT");  // prepared now, as in Change
    m_database.query("BEGIN").run();
  }
}

Snapshot::~Snapshot() {
  if (!m_is_outermost) {
    return;
  }
  try {
    m_database.query("COMMIT").run();
  } catch (const std::exception&) {
    // nothing was changed
  }
}

}  // namespace tee_token
