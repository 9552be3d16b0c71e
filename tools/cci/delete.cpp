// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "commands.h"
#include "json.h"
#include "token.h"

namespace cci {

Answer delete_identity(const Options&, Notes& notes) {
  const Token token;
  const bool was_there = token.public_key("LYR") || !token.certificates("LYR").empty();
  token.delete_identity();  // also what cannot be seen: a private key alone
  notes.say(was_there ? "deleted the installed key pair and chain" : "nothing was installed");
  return {"", json_of({{"deleted", was_there}})};
}

}  // namespace cci
