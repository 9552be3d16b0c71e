// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/store_version.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "base/file_descriptor.h"
#include "store/retry_counter.h"

namespace tee_token {
namespace {

constexpr sqlite3_int64 kApplication = 0x54454554;  // "TEET", in the header of the file

sqlite3_int64 pragma(Database& store, const char* question) {
  Query query = store.query(question);
  return query.step() ? query.number(0) : 0;
}

void require_known(sqlite3_int64 application, sqlite3_int64 version) {
  if (application != kApplication) {
    throw Failure(
        CKR_TOKEN_NOT_RECOGNIZED,
        "the store is not a token's but another program's database; TEE_TOKEN_DIR chooses another folder");
  }
  if (version > kStoreVersion) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the store has version " + std::to_string(version) +
                                                ", this module knows up to " + std::to_string(kStoreVersion) +
                                                "; use a newer libteetoken.so");
  }
}

// A file that ends before the note, as those of version 1 do, says 1.
std::uint8_t noted_version(const DeviceFolder& folder) {
  const FileDescriptor file = open_private_file(folder.file(kCounterFile), O_RDONLY);
  std::uint8_t noted = 1;
  if (::pread(file.get(), &noted, 1, kVersionNote) < 0) {
    fail_with_errno("read", kCounterFile);
  }
  return std::max<std::uint8_t>(noted, 1);
}

}  // namespace

sqlite3_int64 version_in(Database& store) { return pragma(store, "PRAGMA user_version"); }

bool is_token_store(Database& store) {
  const Snapshot snapshot(store);
  const sqlite3_int64 version = version_in(store);
  const sqlite3_int64 application = pragma(store, "PRAGMA application_id");
  if (version == 0 && application == 0 && pragma(store, "SELECT count(*) FROM sqlite_schema") == 0) {
    return false;
  }
  require_known(application, version);
  return true;
}

sqlite3_int64 store_version(Database& store, const DeviceFolder& folder) {
  if (version_in(store) == kStoreVersion) {
    return kStoreVersion;
  }
  // The note comes first: between the two another process may upgrade the store.
  const std::uint8_t noted = noted_version(folder);
  const sqlite3_int64 version = version_in(store);
  if (version < noted) {
    throw Failure(
        CKR_DEVICE_ERROR,
        "the store has version " + std::to_string(version) +
            ", but it has been newer: it was put back or is damaged. Put back a newer copy; or, if you "
            "know where this one comes from, write two zero bytes in " +
            kCounterFile + ", and it is upgraded");
  }
  return version;
}

void note_store_version(Database& store, const DeviceFolder& folder) {
  if (version_in(store) < kStoreVersion || noted_version(folder) >= kStoreVersion) {
    return;
  }
  // Whoever upgraded the store may have died before he could: an old journal would bring version 1 back.
  const std::string path = folder.file(kCounterFile);
  sync_folder_of(path);
  const FileDescriptor file = open_private_file(path, O_RDWR);
  const auto version = static_cast<std::uint8_t>(kStoreVersion);
  if (::pwrite(file.get(), &version, 1, kVersionNote) != 1 || ::fdatasync(file.get()) != 0) {
    fail_with_errno("write", kCounterFile);
  }
}

}  // namespace tee_token
