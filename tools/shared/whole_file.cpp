// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "shared/shown_text.h"

namespace tools {
namespace {

struct Close {
  void operator()(std::FILE* file) const {
    if (file != stdin) {
      std::fclose(file);
    }
  }
};
using File = std::unique_ptr<std::FILE, Close>;

std::system_error error(const char* action, const std::string& path) {
  const int number = errno;
  const std::string name = path == "-" ? "stdin" : shown_text::quoted_if_empty(path);
  return std::system_error(number, std::generic_category(), std::string("cannot ") + action + " " + name);
}

/// Writes the bytes to disk, or to a device or pipe, which cannot be synced. Takes over owner and mode of a
/// file that is to be replaced, if the user may.
bool write(const std::string& path, int flags, const std::string& bytes, const struct stat* replaced) {
  const int number = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags,
                            replaced != nullptr ? replaced->st_mode & ACCESSPERMS : 0666);
  if (number < 0) {
    return false;
  }
  if (replaced != nullptr && ::fchown(number, replaced->st_uid, replaced->st_gid) == 0) {
    ::fchmod(number, replaced->st_mode & ACCESSPERMS);
  }
  const File file(::fdopen(number, "wb"));
  return file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         std::fflush(file.get()) == 0 && (::fsync(number) == 0 || errno == EINVAL);
}

bool replace(const std::string& path, const std::string& bytes, const struct stat* replaced) {
  const std::string temporary = path + "." + std::to_string(::getpid()) + ".tmp";
  const bool done =
      write(temporary, O_EXCL, bytes, replaced) && ::rename(temporary.c_str(), path.c_str()) == 0;
  const int number = errno;
  if (!done) {
    ::unlink(temporary.c_str());
  }
  errno = number;
  return done;
}

/// Whether Linux lets the user follow the link with fs.protected_symlinks=1, which not every system sets.
bool is_trusted(const std::string& path, const struct stat& link) {
  struct stat folder {};
  const std::string parent = std::filesystem::path(path).parent_path();
  ::stat(parent.empty() ? "." : parent.c_str(), &folder);
  const mode_t shared = S_ISVTX | S_IWOTH;
  return (folder.st_mode & shared) != shared || link.st_uid == ::geteuid() || link.st_uid == folder.st_uid;
}

}  // namespace

std::string read_file(const std::string& path) {
  const File file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    throw error("read", path);
  }
  std::string bytes;
  char part[65536];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, file.get())) > 0;) {
    bytes.append(part, length);
  }
  if (std::ferror(file.get()) != 0) {
    throw error("read", path);
  }
  return bytes;
}

void write_file(const std::string& path, const std::string& bytes) {
  struct stat present {};
  const bool exists = ::lstat(path.c_str(), &present) == 0, is_link = exists && S_ISLNK(present.st_mode);
  if (is_link && !is_trusted(path, present)) {
    errno = EACCES;
    throw error("follow another user's link", path);
  }
  const bool written = exists && !S_ISREG(present.st_mode)
                           ? write(path, is_link ? O_TRUNC : O_TRUNC | O_NOFOLLOW, bytes, nullptr)
                           : replace(path, bytes, exists ? &present : nullptr);
  if (!written) {
    throw error("write", path);
  }
}

}  // namespace tools
