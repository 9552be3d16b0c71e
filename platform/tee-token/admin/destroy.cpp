#include <iostream>

#include "commands.h"
#include "folder_lock.h"
#include "shown_text.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

/// Whose the object is to destroy. What the security officer has trusted is there before any login; what is
/// not to be seen then is private, and so the user's, or does not exist.
UserType owner_of(const Object& object) {
  try {
    return is_officers(object) ? UserType::SO : UserType::User;
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::ObjectHandleInvalid) {
      throw;
    }
    return UserType::User;
  }
}

/// The group goes first, so that a stop in between leaves an unknown group and no partial one.
std::size_t destroy_group(TokenSession& token, const Object& object) {
  const TrustGroup group = trust_group_of(object);
  object.destroy();
  return destroy_roots_of(token, group);
}

}  // namespace

void destroy(const Target& target, ObjectHandle handle) {
  const FolderLock lock(target);
  TokenSession token(target);
  const Object object(token.session(), handle);
  const UserType owner = owner_of(object);
  token.login(owner);
  if (owner == UserType::SO && is_trust_group(object)) {
    const std::size_t roots = destroy_group(token, object);
    std::cout << "destroyed object " << handle << " and its " << counted(roots, "root") << "\n";
    return;
  }
  object.destroy();
  std::cout << "destroyed object " << handle << "\n";
}

}  // namespace tee_token_admin
