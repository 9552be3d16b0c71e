// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "cases.h"

namespace wrong_chains {

const std::vector<Case>& all_cases() {
  static const std::vector<Case> cases = [] {
    std::vector<Case> all;
    for (const auto* group : {&chain_cases(), &leaf_cases(), &text_cases(), &format_cases()}) {
      all.insert(all.end(), group->begin(), group->end());
    }
    return all;
  }();
  return cases;
}

}  // namespace wrong_chains
