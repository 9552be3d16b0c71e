// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "identity.h"

#include <botan/exceptn.h>
#include <botan/pubkey.h>

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

void warn_of_dates(const Certificates& chain, Notes& notes) {
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const CertificateFacts facts = facts_of(chain[i]);
    if (!is_valid_now(facts)) {
      notes.warn("certificate " + std::to_string(i + 1) + " of the chain: " + validity_of(facts));
    }
  }
}

/// The library returns the same code when the token refused and when only the clean-up afterwards failed.
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

Identity install_chain(const Token& token, const ChainText& chain, Notes& notes) {
  const Certificates certificates = read_chain(chain);
  const auto key = token.public_key("LYR_CSR");
  if (!key) {
    throw Failure(Exit::kNotFound,
                  "cannot install the chain: no key pair is pending; begin with: cci generate-key");
  }
  require_leaf_of(chain, certificates, *key);
  warn_of_dates(certificates, notes);
  install_or_warn(token, certificates, *key, notes);
  if (!signs_for(token, certificates.front())) {
    throw Failure(Exit::kTokenFailed,
                  "the chain is installed, but the private key does not match its first certificate; "
                  "see cci status and provision again");
  }
  const CertificateFacts leaf = facts_of(certificates.front());
  notes.say("installed " + leaf.subject + ", serial " + leaf.serial + ", valid to " + leaf.not_after);
  notes.say("verified: the private key matches the certificate");
  return {key, certificates, true, std::nullopt};
}

}  // namespace cci
