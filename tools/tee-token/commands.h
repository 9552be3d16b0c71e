// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/files.h"
#include "shared/token_access.h"

namespace tee_token_admin {

/// The identifier of a trust store group and the client that may open it.
struct TrustGroup {
  std::string identifier, client;
};

/// Locks the platform's token, until the result is destroyed, against other commands that lock it: a command
/// can check and then change. Waits for them. Locks nothing when there is no token folder or the module is
/// another one. Throws UsageError.
tee_token::FileDescriptor lock_token(const Target& target);

/// Chooses where the private keys of a token that is made next live: "software" or "tpm", with tpm2-tss's
/// TCTI configuration; empty: TEE_TOKEN_KEYS, or what the folder has. Throws UsageError.
void choose_keys(const Target& target, const std::string& keys, const std::string& tcti);

/// Makes the token, with both PINs. An existing token is only overwritten with `force`.
void init(const Target& target, const std::string& label, bool force);

/// Prints label, serial number and PIN states, and of the platform's token also its folder, the tries left,
/// the number of objects. Nobody is logged in, so it costs no try.
void status(const Target& target, bool json);

/// Each stores one object with the label. Nothing is stored when an object of the class has the label
/// already.
void import_key(const Target& target, const std::string& label, const std::string& path);
void import_certificate(const Target& target, const std::string& label, const std::string& path);
void import_data(const Target& target, const std::string& label, const std::string& value);

/// Stores a trust store group with the certificates of a file as its roots; without a file, none. Nothing is
/// stored when the group exists or the file cannot be read as certificates.
void add_trust_group(const Target& target, const TrustGroup& group,
                     const std::optional<std::string>& roots_file);

/// Prints all objects to stdout, a line each, or as a JSON array.
void list(const Target& target, bool json);

/// Prints an object's value to stdout: certificates, public keys and the roots of a trust group as PEM, data
/// as it is.
void export_object(const Target& target, Botan::PKCS11::ObjectHandle handle);

/// Removes one object; a trust group with its roots. A private key or a part of an installed identity is only
/// removed with `force`.
void destroy(const Target& target, Botan::PKCS11::ObjectHandle handle, bool force);

/// A PIN's hexadecimal digits from a line of stdin. A terminal does not show them, and asks again with
/// `twice`. Throws UsageError; `name` begins its text.
std::string read_pin(const std::string& name, bool twice);

enum class PinChange { kUser, kOfficer, kReset };

struct NewPin {
  std::string hex;         // digits; empty or "-": read from stdin
  bool platforms = false;  // the platform's user PIN instead
  bool yes = false;        // also one with which the library cannot use the token
};

/// Sets a new PIN. `kReset` is how the security officer unlocks a user. A user PIN with which the library
/// cannot use the token is only set with `yes`, or when a terminal confirms it.
void change_pin(const Target& target, PinChange change, const NewPin& wanted);

/// Prints what is wrong with the token and which certificates expire within `days`; returns the exit code.
int check(const Target& target, unsigned days, bool json);

struct ChainCheck {
  std::string label, request;        // the label of a public key, or else the file of a certificate request
  std::string chain;                 // a file
  std::optional<std::string> roots;  // a file
  unsigned days = 0;
};

/// The same for a chain that is not installed yet.
int check_chain(const Target& target, const ChainCheck& wanted, bool json);

// Trust store groups, which several commands work on.

bool is_trust_group(const Botan::PKCS11::Object& object);

/// Whether only the security officer may destroy the object: a group or a trusted certificate.
bool is_officers(const Botan::PKCS11::Object& object);

/// The identifier and client of a group's object.
TrustGroup trust_group_of(const Botan::PKCS11::Object& object);

/// The roots of the group, which may exist without the group's object.
std::vector<Botan::PKCS11::ObjectHandle> roots_of(TokenSession& token, const TrustGroup& group);

/// Destroys the roots of the group and returns their number. The security officer must be logged in.
std::size_t destroy_roots_of(TokenSession& token, const TrustGroup& group);

}  // namespace tee_token_admin
