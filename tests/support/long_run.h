// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdlib>
#include <string>

namespace test_support {

/// Whether all is to be tried, as ./run test --long asks, and not only what fits a minute.
inline bool isLongRun() {
  const char* const value = std::getenv("CCI_LONG");
  return value != nullptr && std::string(value) == "1";
}

}  // namespace test_support
