// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>

#include <functional>
#include <vector>

namespace ozk {
namespace tee {

using ObjectHandles = std::vector<Botan::PKCS11::ObjectHandle>;

/// Searches the token once, for at most 100 objects, and hands them to `use` before the search is finished.
/// The handles are in the token's order.
void search(Botan::PKCS11::Session& session, const Botan::PKCS11::AttributeContainer& sought,
            const std::function<void(const ObjectHandles& found)>& use);

/// Returns what one search finds.
ObjectHandles findAll(Botan::PKCS11::Session& session, const Botan::PKCS11::AttributeContainer& sought);

/// Returns the first of `found`, or 0, which is no object's handle.
Botan::PKCS11::ObjectHandle firstOf(const ObjectHandles& found);

}  // namespace tee
}  // namespace ozk
