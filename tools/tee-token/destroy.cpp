// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "commands.h"
#include "folder_lock.h"
#include "shared/object_attributes.h"
#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

/// Whose the object is to destroy. What the security officer has trusted is there before any login; what is
/// not to be seen then is private, and so the user's, or does not exist. What is damaged is anybody's.
UserType owner_of(const Object& object) {
  try {
    return is_officers(object) ? UserType::SO : UserType::User;
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::ObjectHandleInvalid &&
        error.get_return_value() != ReturnValue::DeviceError) {
      throw;
    }
    return UserType::User;
  }
}

/// Throws UsageError for what no import brings back: a private key, or a part of what only serves whole.
void require_expendable(const Object& object) {
  const bool is_installed = is_true(object, TEE_CKA_VENDOR_PERMANENT);
  if (is_installed || number_of(object, CKA_CLASS) == CKO_PRIVATE_KEY) {
    throw UsageError("object " + std::to_string(object.handle()) + " is " +
                     (is_installed ? "a part of an installed identity" : "a private key") +
                     ", and was left as it is; --force destroys it");
  }
}

/// The group goes first, so that a stop in between leaves an unknown group and no partial one.
std::size_t destroy_group(TokenSession& token, const Object& object) {
  const TrustGroup group = trust_group_of(object);
  object.destroy();
  return destroy_roots_of(token, group);
}

}  // namespace

void destroy(const Target& target, ObjectHandle handle, bool force) {
  const FolderLock lock(target);
  TokenSession token(target);
  const Object object(token.session(), handle);
  const UserType owner = owner_of(object);
  token.login(owner);
  if (!force) {
    require_expendable(object);
  }
  if (owner == UserType::SO && is_trust_group(object)) {
    const std::size_t roots = destroy_group(token, object);
    std::cout << "destroyed object " << handle << " and its " << counted(roots, "root") << "\n";
    return;
  }
  object.destroy();
  std::cout << "destroyed object " << handle << "\n";
}

}  // namespace tee_token_admin
