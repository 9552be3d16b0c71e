#pragma once

#include <string>

#include "token_access.h"

namespace tee_token_admin {

/// Makes the token, with both PINs. One that is there already is only overwritten with `force`.
void init(const Target& target, const std::string& label, bool force);

/// Each stores one object under the label. Nothing is stored when the label is taken in its class.
void import_key(const Target& target, const std::string& label, const std::string& path);
void import_certificate(const Target& target, const std::string& label, const std::string& path);
void import_data(const Target& target, const std::string& label, const std::string& value);

/// Prints all objects to stdout, a line each, or as a JSON array.
void list(const Target& target, bool json);

/// Removes one object.
void destroy(const Target& target, Botan::PKCS11::ObjectHandle object);

}  // namespace tee_token_admin
