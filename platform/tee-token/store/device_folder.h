// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

#include "base/bytes.h"
#include "crypto/key_device.h"

namespace tee_token {

/// The store's file in the folder.
constexpr char kStoreFile[] = "token.db";

/// The folder that represents the device: device key, store and PIN counters are files in it.
class DeviceFolder {
 public:
  /// `device` is where a new token's keys live (`new_device_key`); empty: where those of the folder's
  /// device.key do, or in software.
  explicit DeviceFolder(std::string path, std::string device = "")
      : m_path(std::move(path)), m_wanted_device(std::move(device)) {}

  /// TEE_TOKEN_DIR, else $XDG_DATA_HOME/tee-token, else ~/.local/share/tee-token; an empty path without any.
  /// The device is TEE_TOKEN_KEYS.
  static DeviceFolder of_environment();

  const std::string& path() const { return m_path; }
  std::string file(const char* name) const { return m_path + "/" + name; }

  /// Whether the folder exists: then there is a token in the slot. Throws a Failure when that cannot be found
  /// out.
  bool exists() const;

  /// The folder's status. Throws a Failure (CKR_TOKEN_NOT_PRESENT) when it does not exist.
  struct stat require_exists() const;

  /// Makes the folder and its missing parents, with mode 0700.
  void make_if_absent() const;

  /// Throws a Failure unless the folder exists (CKR_TOKEN_NOT_PRESENT) and only its owner, this user, can
  /// access it (CKR_DEVICE_ERROR).
  void require_private() const;

  /// Whether files can be made in the folder: neither its mode nor a read-only medium forbids it.
  bool is_writable() const;

  /// The bytes that new objects can fill on the folder's disk. Throws a Failure (CKR_DEVICE_ERROR).
  std::uint64_t free_bytes() const;

  /// Where the token's keys live. Throws a Failure (CKR_DEVICE_ERROR) when device.key is missing or damaged.
  std::unique_ptr<const KeyDevice> device() const;
  /// The device-unique key.
  Bytes device_key() const { return device()->device_key(); }

  /// Makes the device key, unless there is one. Throws as `require_wanted_device`.
  void make_device_key_if_absent() const;
  /// Throws a Failure (CKR_ARGUMENTS_BAD) when the keys live elsewhere than was wanted.
  void require_wanted_device() const;

 private:
  std::optional<struct stat> find_folder() const;

  Bytes device_key_file() const;

  std::string m_path;
  std::string m_wanted_device;
};

}  // namespace tee_token
