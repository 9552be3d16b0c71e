#include "held_store.h"

#include <sys/stat.h>
#include <unistd.h>

#include "token_access.h"

namespace tee_token_admin {
namespace {

using Memory = tee_token::Owned<unsigned char, sqlite3_free>;

Connection open_store(const std::string& path) {
  sqlite3* connection = nullptr;
  sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  sqlite3_busy_timeout(connection, 5'000);
  return Connection(connection);
}

bool run(const Connection& store, const char* sql) {
  return sqlite3_exec(store.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

[[noreturn]] void fail(const std::string& action, const std::string& path, const Connection& store) {
  throw UsageError("cannot " + action + " " + path + ": " + sqlite3_errmsg(store.get()) +
                   "; end the programs that use the token, or look with: tee-token check");
}

}  // namespace

tee_token::Bytes image_of_store(const std::string& path) {
  const Connection store = open_store(path);
  // Begins with a read, which is what locks.
  if (!run(store, "BEGIN; SELECT count(*) FROM sqlite_schema")) {
    fail("read", path, store);
  }
  sqlite3_int64 length = 0;
  const Memory image(sqlite3_serialize(store.get(), "main", &length, 0));
  if (image == nullptr || length == 0) {
    fail("read", path, store);
  }
  return tee_token::ByteView(image.get(), static_cast<std::size_t>(length)).copy();
}

HeldStore::HeldStore(const std::string& path) : m_connection(open_store(path)) {
  if (run(m_connection, "BEGIN EXCLUSIVE")) {
    return;
  }
  if ((sqlite3_errcode(m_connection.get()) & 0xFF) == SQLITE_BUSY) {
    fail("lock", path, m_connection);
  }
  m_connection.reset();
  ::unlink((path + "-journal").c_str());
}

}  // namespace tee_token_admin
