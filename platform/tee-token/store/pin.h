// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/bytes.h"
#include "store/device_folder.h"
#include "tee_token/vendor_interface.h"

namespace tee_token {

enum class User : std::uint8_t { kUser = 0, kSecurityOfficer = 1 };

/// Name in failure lines: "user", "security officer".
const char* name_of(User user);

/// Who is logged in, and the device of the token's keys. The security officer needs the master key to set a
/// PIN; private objects are not visible to him.
struct Login {
  User user;
  Bytes master_key;
  Bytes serial;  // of the token at the login
  std::shared_ptr<const KeyDevice> device;
};

inline bool is_login_of(const std::optional<Login>& login, User user) { return login && login->user == user; }

/// Bounds of a PIN's length, in bytes.
constexpr CK_ULONG kMinPinLength = 4, kMaxPinLength = 64;

/// Throws a Failure (CKR_PIN_LEN_RANGE) unless `pin` may be set as a PIN.
void require_pin_length(ByteView pin);

/// The master key as the store holds it for one user: sealed under a key that is derived from the device key
/// and the PIN. The PIN that unseals it is the right one.
struct WrappedKey {
  Bytes salt;
  Bytes sealed;
};

WrappedKey wrap_key(const Bytes& master_key, const Bytes& device_key, User user, ByteView pin);

/// Returns the master key. The try is counted in the folder's counters before the PIN is checked, so that
/// ending the process gives no free try. Meanwhile other processes wait for the counters, up to 5 seconds.
/// Throws a Failure: CKR_PIN_INCORRECT, CKR_PIN_LOCKED when no try is left, CKR_DEVICE_ERROR when the
/// counters cannot be used.
Bytes unwrap_key(const WrappedKey& wrapped, const Bytes& device_key, const DeviceFolder& folder, User user,
                 ByteView pin);

/// The file of the counters in the folder: a byte for each user, the number of wrong tries in a row.
constexpr char kCounterFile[] = "pin-tries";

/// Wrong tries in a row after which a PIN is locked.
constexpr std::uint8_t kTries = 10;

/// The number of tries left: `kTries` when the last one was right, 0 when the PIN is locked.
std::uint8_t tries_left(const DeviceFolder& folder, User user);

/// Makes the counters of a new token.
void make_counters(const DeviceFolder& folder);

/// Unlocks a PIN, after the security officer has set a new one.
void clear_tries(const DeviceFolder& folder, User user);

}  // namespace tee_token
