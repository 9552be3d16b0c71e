#pragma once

#include <optional>
#include <string>

#include "token_access.h"
#include "trust_group.h"

namespace tee_token_admin {

/// Makes the token, with both PINs. One that is there already is only overwritten with `force`.
void init(const Target& target, const std::string& label, bool force);

/// Each stores one object under the label. Nothing is stored when the label is taken in its class.
void import_key(const Target& target, const std::string& label, const std::string& path);
void import_certificate(const Target& target, const std::string& label, const std::string& path);
void import_data(const Target& target, const std::string& label, const std::string& value);

/// Stores a trust store group with the certificates of the PEM file as its roots; without a file, none.
/// Nothing is stored when the group is there or the file is not what it should be.
void add_trust_group(const Target& target, const TrustGroup& group,
                     const std::optional<std::string>& roots_file);

/// Prints all objects to stdout, a line each, or as a JSON array.
void list(const Target& target, bool json);

/// Removes one object; a trust store group with its roots.
void destroy(const Target& target, Botan::PKCS11::ObjectHandle object);

}  // namespace tee_token_admin
