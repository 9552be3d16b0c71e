// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "certificate_facts.h"
#include "commands.h"
#include "json.h"
#include "shared/shown_text.h"

namespace cci {
namespace {

std::string line(const char* name, const std::string& value) {
  return "  " + (std::string(name) + "            ").substr(0, 12) + shown_text::shown(value) + "\n";
}

std::string text_of_chain(const Certificates& chain) {
  if (chain.empty()) return line("certificate", "none");
  const CertificateFacts leaf = facts_of(chain.front());
  return line("subject", leaf.subject) + line("issuer", leaf.issuer) + line("serial", leaf.serial) +
         line("valid from", leaf.not_before) + line("valid to", leaf.not_after + ", " + validity_of(leaf)) +
         line("SHA-256", leaf.sha256) + line("chain", shown_text::counted(chain.size(), "certificate"));
}

std::string text_of_key(const std::optional<std::string>& key) {
  return line("key", key ? fingerprint_of_key(*key) : "none");
}

std::string text_of_identity(const Identity& identity) {
  const std::string match = identity.key_matches ? "the private key matches the certificate"
                                                 : "NO: the private key does not match the certificate";
  return (identity.is_installed() ? "installed:\n" + text_of_chain(identity.chain) +
                                        text_of_key(identity.key) + line("match", match)
                                  : "installed: nothing\n") +
         (identity.pending_key
              ? "pending: a key pair without certificate\n" + text_of_key(identity.pending_key)
              : "pending: nothing\n");
}

}  // namespace

Answer status(const Options&, Notes&) {
  const Identity identity = identity_on(Token());
  return {text_of_identity(identity), json_of_identity(identity)};
}

}  // namespace cci
