// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "token_content.h"

#include <algorithm>

#include "support/provisioned_token.h"
#include "tee/templates.h"

namespace ozk::tee {

namespace {

using Handles = std::vector<unsigned long>;

Handles found(Botan::PKCS11::Session& session, const Botan::PKCS11::AttributeContainer& sought) {
  return Botan::PKCS11::ObjectFinder(session, sought.attributes()).find(1000);
}

ObjectSet setOf(Botan::PKCS11::Session& session, bool permanent) {
  return {found(session, lyrPublicKeySearch(permanent)), found(session, lyrPrivateKeySearch(permanent)),
          found(session, lyrCertificateChainSearch(permanent))};
}

/// Of `after`, those that are in `before` (old), or those that are not.
std::string partsOf(const ObjectSet& before, const ObjectSet& after, bool old) {
  const char* const names[] = {"public key", "private key", "chain"};
  std::string parts;
  for (std::size_t kind = 0; kind < 3; ++kind) {
    for (const unsigned long handle : after[kind]) {
      const bool was = std::count(before[kind].begin(), before[kind].end(), handle) != 0;
      if (was == old) parts += (parts.empty() ? "" : " and ") + std::string(names[kind]);
    }
  }
  if (parts == "public key and private key and chain") parts = "set";
  if (parts == "public key and private key") parts = "key pair";
  return parts.empty() ? "" : (old ? "old " : "new ") + parts;
}

}  // namespace

TokenContent TokenContent::now() {
  test_support::UserSession session;
  TokenContent content = {setOf(*session, true), setOf(*session, false), {}};
  for (const unsigned long handle : found(*session, {})) {
    const auto holds = [&](const ObjectSet& set) {
      return std::any_of(set.begin(), set.end(), [&](const Handles& kind) {
        return std::count(kind.begin(), kind.end(), handle) != 0;
      });
    };
    if (!holds(content.installed) && !holds(content.temporary)) content.others.push_back(handle);
  }
  return content;
}

bool isEmpty(const ObjectSet& set) { return set == ObjectSet(); }

std::string describe(const ObjectSet& before, const ObjectSet& after) {
  if (after == before) return "unchanged";
  if (isEmpty(after)) return "none";
  const std::string old_parts = partsOf(before, after, true), new_parts = partsOf(before, after, false);
  return old_parts + (old_parts.empty() || new_parts.empty() ? "" : ", ") + new_parts;
}

}  // namespace ozk::tee
