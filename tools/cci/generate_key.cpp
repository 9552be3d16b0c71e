// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "commands.h"
#include "failure.h"
#include "json.h"
#include "token.h"

namespace cci {

Answer generate_key(const Options&, Notes& notes) {
  const Token token;
  token.generate_key();
  const auto key = token.public_key("LYR_CSR");
  if (!key) throw Failure(Exit::kTokenFailed, "the new key pair is not on the token; try again");
  notes.say("generated a key pair, SHA-256 " + fingerprint_of_key(*key));
  return {"", json_of_key(*key)};
}

}  // namespace cci
