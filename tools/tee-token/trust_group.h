// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "shared/token_access.h"

namespace tee_token_admin {

/// The identifier of a trust store group and the client that may open it.
struct TrustGroup {
  std::string identifier, client;
};

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
