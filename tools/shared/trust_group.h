// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "shared/token_access.h"

namespace tee_token_admin {

/// A trust store group as it is known by: its identifier, and the client that may open it.
struct TrustGroup {
  std::string identifier, client;
};

/// Whether the object is a trust store group.
bool is_trust_group(const Botan::PKCS11::Object& object);

/// Whether the object is the security officer's alone to destroy: a group, or what he has trusted.
bool is_officers(const Botan::PKCS11::Object& object);

/// The identity of a group that is there.
TrustGroup trust_group_of(const Botan::PKCS11::Object& object);

/// The roots of the group, whether the group itself is there or not.
std::vector<Botan::PKCS11::ObjectHandle> roots_of(TokenSession& token, const TrustGroup& group);

/// Destroys the roots of the group and returns their number. Needs the security officer.
std::size_t destroy_roots_of(TokenSession& token, const TrustGroup& group);

}  // namespace tee_token_admin
