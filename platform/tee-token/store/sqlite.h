// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sqlite3.h>

#include <map>
#include <string>

#include "base/bytes.h"
#include "base/error.h"
#include "crypto/openssl_handles.h"

namespace tee_token {

/// One run of a prepared statement: bind, then step. The destructor resets the statement for the next run.
class Query {
 public:
  explicit Query(sqlite3_stmt* statement) : m_statement(statement) {}
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query();

  /// Binds the next parameter.
  Query& bind(sqlite3_int64 number);
  Query& bind(ByteView bytes);

  /// Goes to the next row; false when there is none.
  bool step();
  /// Runs a statement that gives no rows.
  void run() { step(); }

  sqlite3_int64 number(int column) const { return sqlite3_column_int64(m_statement, column); }
  Bytes bytes(int column) const;
  bool is_null(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }

 private:
  sqlite3_stmt* m_statement;
  int m_next = 1;
};

/// The store is damaged (CKR_DEVICE_ERROR).
class Damage : public Failure {
 public:
  explicit Damage(const std::string& reason,
                  const std::string& remedy = "make a new token in an empty folder")
      : Failure(CKR_DEVICE_ERROR,
                "the store is damaged: " + reason + "; put a copy of the whole folder back, or " + remedy) {}
};

/// The longest row that is read or written, in bytes.
constexpr int kMaxRowLength = 1 << 25;

/// A connection to one SQLite database, whose content may be hostile. Errors are thrown as a Failure:
/// CKR_DEVICE_MEMORY when the disk is full, CKR_TOKEN_WRITE_PROTECTED on a read-only medium, otherwise
/// CKR_DEVICE_ERROR. Waits at most 5 s for other processes.
class Database {
 public:
  /// Opens the database at `path`, which must exist, or for ":memory:" an empty one in memory.
  explicit Database(const std::string& path);

  /// SQLite's integrity check. Throws Damage with the first damage.
  void check_integrity();

  /// The statements of the schema, in the order in which they were run, each with a semicolon.
  std::string schema();

  /// Runs statements that need no parameters.
  void execute(const char* sql);

  /// The statement `sql`, a string literal: prepared once, then reused.
  Query query(const char* sql);

  /// Throws CKR_DEVICE_REMOVED when the file was moved or removed since it was opened.
  void require_in_place();

  bool is_in_transaction() const { return sqlite3_get_autocommit(m_connection.get()) == 0; }

 private:
  Owned<sqlite3, sqlite3_close> m_connection;
  std::map<const char*, Owned<sqlite3_stmt, sqlite3_finalize>> m_statements;
};

/// A change of the store, undone unless it is committed.
class Change {
 public:
  explicit Change(Database& database);
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;
  ~Change();

  /// Makes the change durable.
  void commit();

 private:
  Database& m_database;
  bool m_open = true;
};

/// Several reads of one state of the store; within a Change they see its changes.
class Snapshot {
 public:
  explicit Snapshot(Database& database);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

 private:
  Database& m_database;
  const bool m_is_outermost;
};

}  // namespace tee_token
