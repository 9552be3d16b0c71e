// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/device_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "base/error.h"
#include "base/files.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

constexpr char kDeviceKey[] = "device.key";

std::string variable(const char* name) {
  const char* value = ::secure_getenv(name);
  return value == nullptr ? std::string() : value;
}

std::string absolute(const std::string& path) {
  return path.empty() ? path : std::filesystem::absolute(path).string();
}

}  // namespace

DeviceFolder DeviceFolder::of_environment() {
  // Absolute from the start: the program may change its working directory while the token is in use.
  const std::string folder = absolute(variable("TEE_TOKEN_DIR"));
  std::string data = variable("XDG_DATA_HOME");
  data = data[0] == '/' ? data : "";  // "all paths must be absolute" (XDG Base Directory Specification)
  const std::string home = variable("HOME");
  return DeviceFolder(!folder.empty() ? folder
                      : !data.empty() ? data + "/tee-token"
                      : !home.empty() ? home + "/.local/share/tee-token"
                                      : std::string(),
                      variable("TEE_TOKEN_KEYS"));
}

bool DeviceFolder::exists() const { return find_folder().has_value(); }

std::optional<struct stat> DeviceFolder::find_folder() const {
  const auto status = m_path.empty() ? std::nullopt : find_status(m_path, 0);
  return status && S_ISDIR(status->st_mode) ? status : std::nullopt;
}

struct stat DeviceFolder::require_exists() const {
  const auto status = find_folder();
  if (!status) {
    const bool is_file = !m_path.empty() && find_status(m_path, 0);
    throw Failure(CKR_TOKEN_NOT_PRESENT,
                  is_file ? "this is not a folder; choose one with TEE_TOKEN_DIR"
                          : "there is no such folder; make the token with: tee-token init");
  }
  return *status;
}

void DeviceFolder::make_if_absent() const {
  if (m_path.empty()) {
    throw Failure(CKR_TOKEN_NOT_PRESENT, "the token has no folder: set TEE_TOKEN_DIR");
  }
  for (std::size_t end = m_path.find('/', 1);; end = m_path.find('/', end + 1)) {
    const std::string part = m_path.substr(0, end);
    if (::mkdir(part.c_str(), 0700) == 0) {
      sync_folder_of(part);
    } else if (errno != EEXIST) {
      fail_with_errno("make the folder", part);
    }
    if (end == std::string::npos) {
      break;
    }
  }
  sync_folder_of(m_path);  // the process that made it may have died before its own sync
}

void DeviceFolder::require_private() const {
  const struct stat status = require_exists();
  require_owner(status, "the folder");
  if ((status.st_mode & 077) != 0) {
    throw Failure(CKR_DEVICE_ERROR, "the folder is open to other users; run: chmod 700 " + m_path);
  }
}

bool DeviceFolder::is_writable() const {
  return ::faccessat(AT_FDCWD, m_path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

std::uint64_t DeviceFolder::free_bytes() const {
  constexpr std::uint64_t kReserve = 262144;  // for SQLite's journal of a change
  struct statvfs disk {};
  if (::statvfs(m_path.c_str(), &disk) != 0) {
    fail_with_errno("look at the disk of", m_path);
  }
  const std::uint64_t available = std::uint64_t{disk.f_bavail} * disk.f_frsize;
  return available - std::min(available, kReserve);
}

Bytes DeviceFolder::device_key_file() const {
  constexpr std::size_t kLongest = 4096;
  const FileDescriptor key_file = open_private_file(file(kDeviceKey), O_RDONLY);
  Bytes content(kLongest);
  const ssize_t length = ::read(key_file.get(), content.data(), content.size());
  if (length < 0) {
    fail_with_errno("read", file(kDeviceKey));
  }
  content.resize(static_cast<std::size_t>(length));
  return content;
}

std::unique_ptr<const KeyDevice> DeviceFolder::device() const { return KeyDevice::of(device_key_file()); }

void DeviceFolder::make_device_key_if_absent() const {
  if (find_status(file(kDeviceKey), AT_SYMLINK_NOFOLLOW)) {
    require_wanted_device();
  } else {
    write_private_file(file(kDeviceKey), new_device_key(m_wanted_device));
  }
}

void DeviceFolder::require_wanted_device() const {
  if (!m_wanted_device.empty() && !is_on(m_wanted_device, device_key_file())) {
    throw Failure(CKR_ARGUMENTS_BAD,
                  "the folder's device.key is not for '" + m_wanted_device + "'; choose an empty folder");
  }
}

}  // namespace tee_token
