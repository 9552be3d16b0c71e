// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/read_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tee_token {
namespace {

using Status = struct stat;

bool look(const std::string& path, int flags, Status& status) {
  return ::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0;
}

}  // namespace

std::optional<StoreWatch::Stamp> StoreWatch::stamp_of(const DeviceFolder& folder) {
  constexpr off_t kChangeCounter = 24;  // SQLite's file format, 1.3.7
  const std::string path = folder.file(kStoreFile);
  Status of_folder{}, of_store{}, watched{};
  if (!look(folder.path(), 0, of_folder) || !look(path, AT_SYMLINK_NOFOLLOW, of_store) ||
      !S_ISREG(of_store.st_mode)) {
    return std::nullopt;
  }
  if (!m_store) {
    m_store.emplace(open_file(path, O_RDONLY | O_NOFOLLOW));
  }
  std::uint32_t changes = 0;
  if (::fstat(m_store->get(), &watched) != 0 || watched.st_ino != of_store.st_ino ||
      watched.st_dev != of_store.st_dev ||
      ::pread(m_store->get(), &changes, sizeof changes, kChangeCounter) != sizeof changes) {
    return std::nullopt;
  }
  const auto number = [](auto value) { return static_cast<std::int64_t>(value); };
  return Stamp{number(of_folder.st_dev),  number(of_folder.st_ino),
               number(of_folder.st_mode), number(of_folder.st_uid),
               number(of_store.st_dev),   number(of_store.st_ino),
               number(of_store.st_mode),  number(of_store.st_uid),
               of_store.st_size,          of_store.st_mtim.tv_sec,
               of_store.st_mtim.tv_nsec,  of_store.st_ctim.tv_sec,
               of_store.st_ctim.tv_nsec,  changes};
}

bool ReadCache::Search::operator==(const Search& other) const {
  return after == other.after && limit == other.limit && is_user == other.is_user && wanted == other.wanted;
}

std::optional<ReadCache>& ReadCache::of_process() {
  // Not destroyed: a program may call the module while it exits.
  static std::optional<ReadCache>& cache = *new std::optional<ReadCache>;
  return cache;
}

}  // namespace tee_token
