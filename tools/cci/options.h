// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace cci {

enum class SignatureForm { kRaw, kDer, kHex, kBase64 };

/// What the command line asks for.
struct Options {
  bool json = false, quiet = false, verbose = false, pem = false;
  std::string common_name, key = "LYR", group, issue;
  std::string file = "-";             // of input; "-": stdin
  std::optional<std::string> output;  // a file; without it stdout
  SignatureForm form = SignatureForm::kRaw;
  std::chrono::seconds timeout{60};
};

}  // namespace cci
