// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "commands.h"
#include "shared/shown_text.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

/// Who may destroy the object. The security officer's objects can be read without login; one that cannot be
/// read is private or damaged, which the user may destroy, or does not exist.
UserType owner_of(const Object& object) {
  try {
    return is_officers(object) ? UserType::SO : UserType::User;
  } catch (const PKCS11_ReturnError&) {
    return UserType::User;
  }
}

/// Throws UsageError for what cannot be restored by an import: a private key or a part of an identity.
void require_expendable(const Object& object) {
  const bool is_installed = is_true(object, TEE_CKA_VENDOR_PERMANENT);
  if (is_installed || number_of(object, CKA_CLASS) == CKO_PRIVATE_KEY) {
    throw UsageError("object " + std::to_string(object.handle()) + " is " +
                     (is_installed ? "a part of an installed identity" : "a private key") +
                     ", which was not destroyed; --force destroys it");
  }
}

/// The group's object goes first, so that an interrupted run leaves no partial group.
std::size_t destroy_group(TokenSession& token, const Object& object) {
  const TrustGroup group = trust_group_of(object);
  object.destroy();
  return destroy_roots_of(token, group);
}

}  // namespace

void destroy(const Target& target, ObjectHandle handle, bool force) {
  const tee_token::FileDescriptor lock = lock_token(target);
  TokenSession token(target);
  const UserType owner = owner_of(Object(token.session(), handle));
  token.login(owner);
  const Object object = token.object(handle);
  if (!force) {
    require_expendable(object);
  }
  if (owner == UserType::SO && is_trust_group(object)) {
    const std::size_t roots = destroy_group(token, object);
    std::cout << "destroyed object " << handle << " and its " << shown_text::counted(roots, "root") << "\n";
    return;
  }
  object.destroy();
  std::cout << "destroyed object " << handle << "\n";
}

}  // namespace tee_token_admin
