// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/bytes.h"

namespace tee_token {

enum class User : std::uint8_t { kUser = 0, kSecurityOfficer = 1 };

/// Name in failure lines: "user", "security officer".
inline const char* name_of(User user) { return user == User::kUser ? "user" : "security officer"; }

/// Who is logged in. The security officer has the master key too, to set a PIN, but sees no private object.
struct Login {
  std::optional<User> who;
  Bytes master_key;

  bool is(User user) const { return who && *who == user; }
};

}  // namespace tee_token
