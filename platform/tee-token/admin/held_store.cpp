#include "held_store.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>

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

tee_token::Bytes image_of(const Connection& store, const std::string& path) {
  sqlite3_int64 length = 0;
  const Memory image(sqlite3_serialize(store.get(), "main", &length, 0));
  if (image == nullptr || length == 0) {
    fail("read", path, store);
  }
  return tee_token::ByteView(image.get(), static_cast<std::size_t>(length)).copy();
}

}  // namespace

tee_token::Bytes image_of_store(const std::string& path) {
  const Connection store = open_store(path);
  // Begins with a read, which is what locks.
  if (!run(store, "BEGIN; SELECT count(*) FROM sqlite_schema")) {
    fail("read", path, store);
  }
  return image_of(store, path);
}

tee_token::Bytes with_numbers_above(const tee_token::Bytes& image, sqlite3_int64 last) {
  const Connection store = open_store(":memory:");
  const auto length = static_cast<sqlite3_int64>(image.size());
  auto* const copy = static_cast<unsigned char*>(sqlite3_malloc64(image.size()));
  if (copy == nullptr) {
    throw std::bad_alloc();
  }
  std::copy(image.begin(), image.end(), copy);
  const std::string raise = "UPDATE sqlite_sequence SET seq = max(seq, " + std::to_string(last) + ")";
  if (sqlite3_deserialize(store.get(), "main", copy, length, length,
                          SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE) != SQLITE_OK ||
      !run(store, raise.c_str())) {
    fail("read", "the backup's store", store);
  }
  return image_of(store, "the backup's store");
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

sqlite3_int64 HeldStore::last_number() const {
  sqlite3_int64 last = 0;
  const auto take = [](void* to, int, char** values, char**) {
    *static_cast<sqlite3_int64*>(to) = values[0] == nullptr ? 0 : std::strtoll(values[0], nullptr, 10);
    return 0;
  };
  if (m_connection != nullptr) {
    sqlite3_exec(m_connection.get(), "SELECT max(seq) FROM sqlite_sequence", take, &last, nullptr);
  }
  return last;
}

}  // namespace tee_token_admin
