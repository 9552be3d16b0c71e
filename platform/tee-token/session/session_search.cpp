// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {

void Session::begin_search(Attributes wanted) {
  require_idle();
  m_operation = Search{std::move(wanted), 0};
}

std::vector<CK_OBJECT_HANDLE> Session::continue_search(std::size_t limit) {
  Search& search = active<Search>();
  std::vector<CK_OBJECT_HANDLE> found =
      view([&] { return m_token.objects().find(search.wanted, search.last, limit); });
  if (!found.empty()) {
    search.last = found.back();
  }
  return found;
}

void Session::end_search() {
  active<Search>();
  end_operation();
}

}  // namespace tee_token
