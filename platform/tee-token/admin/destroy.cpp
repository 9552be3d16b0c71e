#include <iostream>

#include "commands.h"

namespace tee_token_admin {

void destroy(const Target& target, Botan::PKCS11::ObjectHandle object) {
  UserSession user(target);
  Botan::PKCS11::Object(user.session(), object).destroy();
  std::cout << "destroyed object " << object << "\n";
}

}  // namespace tee_token_admin
