// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// The steps of a provisioning, a command each; and the way back.

#include <botan/pem.h>

#include "chain.h"
#include "commands.h"
#include "json.h"
#include "shared/shown_text.h"

namespace cci {

Answer generate_key(const Options&, Notes& notes) {
  const Token token;
  token.generate_key();
  const auto key = token.public_key("LYR_CSR");
  if (!key) throw Failure(Exit::kTokenFailed, "the new key pair is not on the token; try again");
  notes.say("generated a key pair, SHA-256 " + fingerprint_of_key(*key));
  return {"", json_of_key(*key)};
}

Answer csr(const Options& options, Notes&) {
  const bool binary = !options.pem && !options.json;
  if (binary && !options.output) require_no_terminal();
  const Bytes der = Token().request(options.common_name);
  const std::string pem = Botan::PEM_Code::encode(der, "CERTIFICATE REQUEST");
  return {options.pem ? pem : text_of(der),
          json_of({{"common_name", options.common_name}, {"request", pem}})};
}

Answer install(const Options& options, Notes& notes) {
  const Token token("install the chain");
  const std::string name = options.file == "-" ? "stdin" : "file '" + options.file + "'";
  const ChainText chain{name, read_input(options.file), Exit::kInput, Exit::kRefused};
  return {"", json_of_identity(install_chain(token, chain, demands_of(token, options), notes))};
}

Answer delete_identity(const Options&, Notes& notes) {
  const Token token("delete the identity");
  const bool was_there = token.public_key("LYR") || !token.certificates("LYR").empty();
  token.delete_identity();  // always: whether there is only a private key is unknown
  notes.say(was_there ? "deleted the installed key pair and chain" : "nothing was installed");
  return {"", json_of({{"deleted", was_there}})};
}

}  // namespace cci
