// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"

namespace tee_token {

/// An open file; the destructor closes it.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number) noexcept : m_number(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_number(other.m_number) { other.m_number = -1; }
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor();

  int get() const noexcept { return m_number; }

 private:
  int m_number;
};

/// While it exists, files that are opened get numbers above those of stdin, stdout and stderr: a program that
/// has closed one of these may still write to its number.
class StandardStreamsTaken {
 public:
  StandardStreamsTaken();

 private:
  std::vector<FileDescriptor> m_placeholders;  // which cannot be written to
};

/// open(2) with `flags` and O_CLOEXEC, above the standard streams; O_CREAT creates the file with mode 0600.
/// When it fails, the number is negative and errno says why.
FileDescriptor open_file(const std::string& path, int flags);

/// Throws a Failure with the text of errno: CKR_DEVICE_MEMORY when the disk is full, else CKR_DEVICE_ERROR.
[[noreturn]] void fail_with_errno(const std::string& action, const std::string& path);

/// The status of `path`, by fstatat(2) with `flags`; nothing when there is no such file (ENOENT, ENOTDIR).
/// Throws a Failure on any other error.
std::optional<struct stat> find_status(const std::string& path, int flags);

/// Throws a Failure (CKR_DEVICE_ERROR) unless what has the status belongs to the process's user; `name`
/// begins its text.
void require_owner(const struct stat& status, const std::string& name);

/// Opens a file of the token folder with open(2)'s `flags`, never through a link; O_CREAT creates it with
/// mode 0600. Throws a Failure (CKR_DEVICE_ERROR) when that fails or the file is not a regular file that only
/// its owner, this user, can access.
FileDescriptor open_private_file(const std::string& path, int flags);

/// The same check without opening the file: closing it would release the locks that this process has on it,
/// and SQLite locks the store that way.
void require_private_file(const std::string& path);

/// Writes `content` to a temporary file (PATH.new, mode 0600) and renames it: afterwards the file is complete
/// and durable. An interruption leaves the former file, or none.
void write_private_file(const std::string& path, ByteView content);

/// Syncs the folder of `path`, so that a new entry in it is durable.
void sync_folder_of(const std::string& path);

}  // namespace tee_token
