// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "identity.h"

#include <botan/exceptn.h>
#include <botan/pubkey.h>
#include <unistd.h>

#include <memory>

#include "chain.h"

namespace cci {
namespace {

/// Whether a signature of the installed private key verifies under the certificate.
bool signs_for(const Token& token, const Botan::X509_Certificate& certificate) {
  const Bytes message = bytes_of("cci checks whether key and certificate match");
  const auto signature = token.sign("LYR", message);
  if (!signature) return false;
  try {
    const std::unique_ptr<Botan::Public_Key> key = certificate.load_subject_public_key();
    return Botan::PK_Verifier(*key, "EMSA1(SHA-256)", Botan::IEEE_1363).verify_message(message, *signature);
  } catch (const Botan::Exception&) {
    return false;  // a key of another kind
  }
}

void install_or_warn(const Token& token, const Certificates& chain, const std::string& key, Notes& notes) {
  try {
    token.install(pem_of(chain));
  } catch (const Failure& failure) {
    const bool installed = failure.exit() == Exit::kRefused && token.public_key("LYR") == key &&
                           token.certificates("LYR") == pem_of(chain);
    if (!installed) throw;
    notes.warn(
        "the chain is installed, but the temporary objects could not be deleted; "
        "the next cci generate-key deletes them");
  }
}

}  // namespace

Identity identity_on(const Token& token) {
  Identity identity;
  identity.key = token.public_key("LYR");
  identity.chain = certificates_of(token.certificates("LYR"));
  identity.key_matches = !identity.chain.empty() && signs_for(token, identity.chain.front());
  identity.pending_key = token.public_key("LYR_CSR");
  return identity;
}

Demands demands_of(const Token& token, const Options& options) {
  Demands demands;
  demands.force = options.force;
  demands.roots_name = options.roots;
  if (options.roots.empty()) return demands;
  const bool is_file = ::access(options.roots.c_str(), F_OK) == 0;
  const std::string name = is_file ? "file '" + options.roots + "'" : "trust store group " + options.roots;
  const std::string text = is_file ? read_input(options.roots) : token.roots(options.roots);
  if (!is_file && text.empty()) throw Failure(Exit::kNotFound, "the " + name + " has no roots");
  demands.roots = read_chain({name, text, Exit::kInput, Exit::kInput});
  return demands;
}

std::optional<std::string> need_of(const Identity& identity, long days) {
  if (!identity.is_installed()) return "nothing is installed";
  if (identity.chain.empty()) return "the installed key pair has no certificate";
  if (!identity.key_matches) return "the private key does not match the certificate";
  const ChainValidity validity = validity_of(identity.chain);
  if (validity.facts.is_valid_now() && validity.facts.days_left >= days) return std::nullopt;
  return "certificate " + std::to_string(validity.index + 1) +
         " of the chain: " + validity_of(validity.facts);
}

Identity install_chain(const Token& token, const ChainText& chain, const Demands& demands, Notes& notes) {
  const Certificates certificates = read_chain(chain);
  const auto key = token.public_key("LYR_CSR");
  if (!key) {
    throw Failure(Exit::kNotFound,
                  "cannot install the chain: no key pair is pending; begin with: cci generate-key");
  }
  require_usable(chain, certificates, *key, demands, [&](const std::string& text) { notes.warn(text); });
  install_or_warn(token, certificates, *key, notes);
  if (!signs_for(token, certificates.front())) {
    throw Failure(Exit::kTokenFailed,
                  "the chain is installed, but the private key does not match its first certificate; "
                  "run: cci provision");
  }
  const CertificateFacts leaf = facts_of(certificates.front());
  notes.say("installed " + leaf.subject + ", serial " + leaf.serial + ", valid to " + leaf.not_after);
  notes.say("verified: the private key matches the certificate");
  return {key, certificates, true, std::nullopt};
}

}  // namespace cci
