// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "commands.h"
#include "failure.h"
#include "json.h"
#include "token.h"

namespace cci {

Answer public_key(const Options& options, Notes&) {
  const auto key = Token().public_key(options.key);
  if (key) return {*key, json_of_key(*key)};
  throw Failure(
      Exit::kNotFound,
      options.key == "LYR"
          ? "cannot read the public key of LYR: nothing is installed; see cci provision"
          : "cannot read the public key of " + options.key + ": no key pair waits; run: cci generate-key");
}

}  // namespace cci
