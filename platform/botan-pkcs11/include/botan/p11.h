// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>
#include <botan/p11_low_level.h>
#include <botan/secmem.h>

#include <map>
#include <string>
#include <vector>

namespace Botan {
namespace PKCS11 {

class Slot;

// Each of these functions opens a session of its own, logs in if it has to, and closes the session.
// They throw PKCS11_ReturnError if the token returns an error.

/// Initializes the token in `slot`, which deletes all its objects, and sets the user's PIN.
BOTAN_PKCS11_API void initialize_token(Slot& slot, const std::string& label, const secure_string& so_pin,
                                       const secure_string& pin);

/// Changes the user's PIN.
BOTAN_PKCS11_API void change_pin(Slot& slot, const secure_string& old_pin, const secure_string& new_pin);

/// Changes the security officer's PIN.
BOTAN_PKCS11_API void change_so_pin(Slot& slot, const secure_string& old_so_pin,
                                    const secure_string& new_so_pin);

/// Sets the user's PIN, logged in as the security officer.
BOTAN_PKCS11_API void set_pin(Slot& slot, const secure_string& so_pin, const secure_string& pin);

}  // namespace PKCS11
}  // namespace Botan
