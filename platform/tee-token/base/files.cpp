// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "base/error.h"

namespace tee_token {
namespace {

void require_private(const struct stat& status, const std::string& path) {
  if (!S_ISREG(status.st_mode)) {
    throw Failure(CKR_DEVICE_ERROR, path + " is not a regular file; put the file itself there");
  }
  require_owner(status, path);
  if ((status.st_mode & 077) != 0) {
    throw Failure(CKR_DEVICE_ERROR, path + " is open to other users; run: chmod 600 " + path);
  }
}

std::string folder_of(const std::string& path) {
  return path.substr(0, std::max<std::size_t>(path.find_last_of('/'), 1));
}

bool write_all(const FileDescriptor& file, ByteView content) {
  const ssize_t written = ::write(file.get(), content.data, content.size);
  if (written >= 0 && written != static_cast<ssize_t>(content.size)) {
    errno = ENOSPC;
  }
  return written == static_cast<ssize_t>(content.size);
}

}  // namespace

void require_owner(const struct stat& status, const std::string& name) {
  if (status.st_uid != ::geteuid()) {
    throw Failure(CKR_DEVICE_ERROR, name + " belongs to another user; run the program as user " +
                                        std::to_string(status.st_uid) +
                                        "; change the owner only if the token should change hands");
  }
}

void fail_with_errno(const std::string& action, const std::string& path) {
  const int error = errno;
  throw Failure(error == ENOSPC || error == EDQUOT ? CKR_DEVICE_MEMORY : CKR_DEVICE_ERROR,
                "cannot " + action + " " + path + ": " + std::strerror(error));
}

FileDescriptor::~FileDescriptor() {
  if (m_number >= 0) {
    ::close(m_number);
  }
}

StandardStreamsTaken::StandardStreamsTaken() {
  m_placeholders.reserve(STDERR_FILENO + 1);
  for (int number = 0; number <= STDERR_FILENO; ++number) {
    if (::fcntl(number, F_GETFD) < 0) {
      m_placeholders.emplace_back(::open("/", O_PATH | O_CLOEXEC));
    }
  }
}

FileDescriptor open_file(const std::string& path, int flags) {
  const StandardStreamsTaken taken;
  FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0600));
  if (file.get() < 0 || file.get() > STDERR_FILENO) {
    return file;
  }
  // another thread has closed a low number meanwhile
  return FileDescriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::optional<struct stat> find_status(const std::string& path, int flags) {
  struct stat status {};
  if (::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0) {
    return status;
  }
  if (errno != ENOENT && errno != ENOTDIR) {
    fail_with_errno("stat", path);
  }
  return std::nullopt;
}

FileDescriptor open_private_file(const std::string& path, int flags) {
  FileDescriptor file = open_file(path, flags | O_NOFOLLOW);
  if (file.get() < 0) {
    fail_with_errno("open", path);
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    fail_with_errno("stat", path);
  }
  require_private(status, path);
  return file;
}

void require_private_file(const std::string& path) {
  struct stat status {};
  if (::fstatat(AT_FDCWD, path.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    fail_with_errno("stat", path);
  }
  require_private(status, path);
}

void write_private_file(const std::string& path, ByteView content) {
  const std::string temporary = path + ".new";
  {
    const FileDescriptor file = open_file(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
    if (file.get() < 0 || !write_all(file, content) || ::fsync(file.get()) != 0) {
      fail_with_errno("write", temporary);
    }
  }
  if (::rename(temporary.c_str(), path.c_str()) != 0) {
    fail_with_errno("rename " + temporary + " to", path);
  }
  sync_folder_of(path);
}

void sync_folder_of(const std::string& path) {
  const FileDescriptor folder = open_file(folder_of(path), O_RDONLY | O_DIRECTORY);
  if (folder.get() < 0 && errno == EACCES) {
    return;  // this user cannot read the folder, so another one has made the entry
  }
  if (folder.get() < 0 || ::fsync(folder.get()) != 0) {
    fail_with_errno("sync the folder of", path);
  }
}

}  // namespace tee_token
