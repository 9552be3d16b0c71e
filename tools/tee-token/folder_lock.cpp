// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstring>

#include "store/device_folder.h"

namespace tee_token_admin {
namespace {

using tee_token::DeviceFolder;
using tee_token::FileDescriptor;

FileDescriptor open_locked(const std::string& folder) {
  FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.get() < 0 || ::flock(opened.get(), LOCK_EX) != 0) {
    throw UsageError("cannot lock the folder " + folder + ": " + std::strerror(errno));
  }
  return opened;
}

FileDescriptor lock_of(const Target& target) {
  const DeviceFolder folder = DeviceFolder::of_environment();
  return is_platforms(target) && folder.exists() ? open_locked(folder.path()) : FileDescriptor(-1);
}

}  // namespace

FolderLock::FolderLock(const Target& target) : m_folder(lock_of(target)) {}

}  // namespace tee_token_admin
