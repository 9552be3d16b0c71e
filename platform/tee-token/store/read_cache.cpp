// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/read_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tee_token {
namespace {

class StampWriter {
 public:
  explicit StampWriter(StoreWatch::Stamp& stamp) : m_next(stamp.begin()) {}

  template <typename... Numbers>
  void add(Numbers... numbers) {
    ((*m_next++ = static_cast<std::int64_t>(numbers)), ...);
  }
  void add_identity(const struct stat& status) {
    add(status.st_dev, status.st_ino, status.st_mode, status.st_uid);
  }
  void add_file(const struct stat& status) {
    add_identity(status);
    add(status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
        status.st_ctim.tv_nsec);
  }

 private:
  StoreWatch::Stamp::iterator m_next;
};

bool look(const std::string& path, int flags, struct stat& status) {
  return ::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0;
}

}  // namespace

std::optional<StoreWatch::Stamp> StoreWatch::stamp_of(const DeviceFolder& folder) {
  constexpr off_t kChangeCounter = 24;  // SQLite's file format, 1.3.7
  const std::string path = folder.file(kStoreFile);
  struct stat of_folder {
  }, of_store{}, of_key{}, watched{};
  if (!look(folder.path(), 0, of_folder) || !look(path, AT_SYMLINK_NOFOLLOW, of_store) ||
      !look(folder.file(kDeviceKeyFile), AT_SYMLINK_NOFOLLOW, of_key)) {
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
  Stamp stamp{};
  StampWriter writer(stamp);
  writer.add_identity(of_folder);
  writer.add_file(of_store);
  writer.add_file(of_key);
  writer.add(changes);
  return stamp;
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
