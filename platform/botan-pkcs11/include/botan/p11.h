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

// Each of these opens a session of its own, logs in where it must, and leaves nothing open.
// They throw PKCS11_ReturnError when the token refuses.

/// Initializes the token in `slot`, which destroys what is on it, and sets the user's PIN.
BOTAN_PKCS11_API void initialize_token(Slot& slot, const std::string& label, const secure_string& so_pin,
                                       const secure_string& pin);

/// Changes the user's PIN.
BOTAN_PKCS11_API void change_pin(Slot& slot, const secure_string& old_pin, const secure_string& new_pin);

/// Changes the security officer's PIN.
BOTAN_PKCS11_API void change_so_pin(Slot& slot, const secure_string& old_so_pin,
                                    const secure_string& new_so_pin);

/// Sets the user's PIN as security officer.
BOTAN_PKCS11_API void set_pin(Slot& slot, const secure_string& so_pin, const secure_string& pin);

}  // namespace PKCS11
}  // namespace Botan
