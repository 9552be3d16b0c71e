// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/file_descriptor.h"
#include "base/login.h"
#include "store/device_folder.h"

namespace tee_token {

/// The file of the counters, one byte a user, and in it the place of the version that the store has reached.
constexpr char kCounterFile[] = "pin-tries";
constexpr off_t kVersionNote = 2;

/// Wrong PINs in a row after which a PIN is locked.
constexpr std::uint8_t kTries = 10;

/// Tries left, `kTries` when the last one was right, 0 when the PIN is locked.
std::uint8_t tries_left(const DeviceFolder& folder, User user);

/// Makes the file of a new token: no wrong try, and the store's version.
void make_counters(const DeviceFolder& folder, std::uint8_t store_version);

/// One try at a PIN. It counts as wrong from construction on, so that ending the process gives no free try,
/// and until `was_right`. Other processes wait for its end, for 5 seconds at most.
class PinTry {
 public:
  /// Throws a Failure: CKR_PIN_LOCKED when no try is left, CKR_DEVICE_ERROR when the counters cannot be used.
  PinTry(const DeviceFolder& folder, User user);
  PinTry(const PinTry&) = delete;
  PinTry& operator=(const PinTry&) = delete;

  ~PinTry();

  /// A right login costs no sync.
  void was_right();
  /// Makes the count durable, before anybody is told. Throws a Failure when that cannot be done.
  void was_wrong();

  /// Tries left if this one is wrong.
  std::uint8_t left() const { return static_cast<std::uint8_t>(kTries - m_wrong - 1); }

 private:
  FileDescriptor m_file;
  User m_user;
  std::uint8_t m_wrong = 0;
};

/// Takes the lock off a PIN: used when the security officer sets a new one.
void clear_tries(const DeviceFolder& folder, User user);

}  // namespace tee_token
