// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace cci {

/// What a command writes to stdout.
struct Answer {
  std::string data;
  std::string json;  // instead of the data, with --json
};

}  // namespace cci
