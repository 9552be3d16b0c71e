// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_object.h>

namespace Botan {
namespace PKCS11 {

ObjectFinder::ObjectFinder(Session& session, const std::vector<Attribute>& search_template)
    : m_session(session), m_active(std::make_shared<bool>(true)) {
  module()->C_FindObjectsInit(session.handle(), const_cast<Attribute*>(search_template.data()),
                              search_template.size());
}

ObjectFinder::~ObjectFinder() noexcept {
  if (!*m_active || m_active.use_count() > 1) {
    return;
  }
  try {
    module()->C_FindObjectsFinal(m_session.handle(), nullptr);
  } catch (...) {
    // nobody is left to tell
  }
}

std::vector<ObjectHandle> ObjectFinder::find(std::uint32_t max_count) const {
  std::vector<ObjectHandle> handles(max_count);
  Ulong count = 0;
  module()->C_FindObjects(m_session.handle(), handles.data(), max_count, &count);
  handles.resize(count);
  return handles;
}

void ObjectFinder::finish() {
  module()->C_FindObjectsFinal(m_session.handle());
  *m_active = false;
}

}  // namespace PKCS11
}  // namespace Botan
