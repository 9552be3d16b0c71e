// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "tee/search.h"

namespace ozk {
namespace tee {

namespace {
constexpr std::uint32_t kMaxFound = 100;
}

void search(Botan::PKCS11::Session& session, const Botan::PKCS11::AttributeContainer& sought,
            const std::function<void(const ObjectHandles& found)>& use) {
  Botan::PKCS11::ObjectFinder finder(session, sought.attributes());
  use(finder.find(kMaxFound));
  finder.finish();
}

ObjectHandles findAll(Botan::PKCS11::Session& session, const Botan::PKCS11::AttributeContainer& sought) {
  ObjectHandles all;
  search(session, sought, [&](const ObjectHandles& found) { all = found; });
  return all;
}

Botan::PKCS11::ObjectHandle firstOf(const ObjectHandles& found) { return found.empty() ? 0 : found.front(); }

}  // namespace tee
}  // namespace ozk
