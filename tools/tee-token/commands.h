// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "shared/token_access.h"
#include "shared/trust_group.h"

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

/// Prints an object's value to stdout: certificates and public keys as PEM, data as it is, of a trust group
/// its roots. Private keys stay where they are.
void export_object(const Target& target, Botan::PKCS11::ObjectHandle object);

/// Sets a new PIN, given in hexadecimal digits; an empty text or "-": asked for on stdin. Resetting is the
/// security officer's way out for a user whose PIN is locked or forgotten.
void change_pin(const Target& target, const std::string& new_pin_hex);
void change_so_pin(const Target& target, const std::string& new_pin_hex);
void reset_pin(const Target& target, const std::string& new_pin_hex);

/// Looks for what is wrong with the token, says it on stdout and returns the exit code. Certificates that end
/// within `days` are told of, too.
int check(const Target& target, unsigned days, bool json);

struct ChainCheck {
  std::string label, request,
      chain;  // the label of the key, or else the file of the request; then the chain's
  std::optional<std::string> roots;  // a file
  unsigned days = 0;
};

/// The same for a chain that is not installed yet.
int check_chain(const Target& target, const ChainCheck& wanted, bool json);

/// Removes one object; a trust store group with its roots. A private key or a part of an installed identity
/// is only removed with `force`.
void destroy(const Target& target, Botan::PKCS11::ObjectHandle object, bool force);

}  // namespace tee_token_admin
