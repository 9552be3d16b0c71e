// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "base/bytes.h"

namespace tee_token {

/// An open file, closed with the object.
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

/// Throws a Failure that says what errno says: CKR_DEVICE_MEMORY when there is no room, else
/// CKR_DEVICE_ERROR.
[[noreturn]] void fail_with_errno(const std::string& action, const std::string& path);

/// Opens a file of the token folder with open(2)'s `flags`, never through a link; O_CREAT makes it with mode
/// 0600. Throws a Failure (CKR_DEVICE_ERROR) when that fails or the file is not a plain one that its owner
/// alone may use.
FileDescriptor open_private_file(const std::string& path, int flags);

/// As the check of `open_private_file`, without opening: closing a file would drop the locks that this
/// process has on it, and SQLite locks the store that way.
void require_private_file(const std::string& path);

/// Makes `path` hold `content`, mode 0600: whole and durable, or not at all.
void write_private_file(const std::string& path, ByteView content);

/// Makes durable that `path` is in its folder.
void sync_folder_of(const std::string& path);

}  // namespace tee_token
