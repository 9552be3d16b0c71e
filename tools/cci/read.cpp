// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/hex.h>

#include "commands.h"
#include "json.h"
#include "shared/shown_text.h"

// The commands that read what is on the token.

namespace cci {

Answer cert(const Options& options, Notes&) {
  const std::string pem = Token().certificates(options.key);
  if (pem.empty()) {
    throw Failure(Exit::kNotFound, "cannot read the certificates of " + options.key + ": the token has none" +
                                       (options.key == "LYR" ? "; see cci status" : ""));
  }
  return {pem, json_of_certificates(certificates_of(pem))};
}

Answer public_key(const Options& options, Notes&) {
  const auto key = Token().public_key(options.key);
  if (key) return {*key, json_of_key(*key)};
  throw Failure(Exit::kNotFound,
                "cannot read the public key of " + options.key +
                    (options.key == "LYR" ? ": nothing is installed; see cci provision"
                                          : ": no key pair is pending; run: cci generate-key"));
}

Answer roots(const Options& options, Notes& notes) {
  const std::string pem = Token().roots(options.group);
  if (pem.empty()) notes.say("the trust store group " + options.group + " has no roots");
  return {pem, json_of_certificates(certificates_of(pem))};
}

Answer vin(const Options&, Notes&) {
  const std::string vin = Token().vin();
  if (vin.empty()) {
    throw Failure(Exit::kNotFound,
                  "cannot read the VIN: none is stored on the token; the device's maker stores it");
  }
  return {vin + "\n", json_of({{"vin", vin}, {"hex", Botan::hex_encode(bytes_of(vin), false)}})};
}

namespace {

std::string line(const char* name, const std::string& value) {
  return "  " + (std::string(name) + "            ").substr(0, 12) + shown_text::shown(value) + "\n";
}

std::string text_of_chain(const Certificates& chain) {
  if (chain.empty()) return line("certificate", "none");
  const CertificateFacts leaf = facts_of(chain.front());
  const ChainValidity worst = validity_of(chain);
  return line("subject", leaf.subject) + line("issuer", leaf.issuer) + line("serial", leaf.serial) +
         line("valid from", leaf.not_before) + line("valid to", leaf.not_after) +
         line("SHA-256", leaf.sha256) +
         line("chain",
              shown_text::counted(chain.size(), "certificate") + ", " + validity_of(worst.facts) +
                  (worst.index == 0 ? "" : " (certificate " + std::to_string(worst.index + 1) + ")"));
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

Answer status(const Options& options, Notes&) {
  const Identity identity = identity_on(Token("show the status"));
  const std::string text = text_of_identity(identity);
  if (!options.days) return {text, json_of_identity(identity)};
  const auto need = need_of(identity, *options.days);
  return {text + "needs provisioning: " + (need ? "yes, " + *need : "no") + "\n",
          json_of_identity(identity, need.value_or("")), need ? Exit::kNeedsProvisioning : Exit::kDone};
}

}  // namespace cci
