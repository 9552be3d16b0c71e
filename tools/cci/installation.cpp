// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "installation.h"

#include "failure.h"

namespace cci {
namespace {

void warn_of_dates(const Certificates& chain, Notes& notes) {
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const CertificateFacts facts = facts_of(chain[i]);
    if (!is_valid_now(facts)) {
      notes.warn("certificate " + std::to_string(i + 1) + " of the chain: " + validity_of(facts));
    }
  }
}

/// The library gives the same answer when the token refused and when it only could not tidy up afterwards.
void install_or_tell(const Token& token, const Certificates& chain, const std::string& key, Notes& notes) {
  try {
    token.install(pem_of(chain));
  } catch (const Failure& failure) {
    const bool installed = failure.exit() == Exit::kRefused && token.public_key("LYR") == key &&
                           token.certificates("LYR") == pem_of(chain);
    if (!installed) throw;
    notes.warn(
        "the chain is installed, but what it was made of is still on the token; "
        "the next cci generate-key removes it");
  }
}

void require_working(const Token& token, const Certificates& chain) {
  if (!signs_for(token, chain.front())) {
    throw Failure(Exit::kTokenFailed,
                  "the chain is installed, but a signature of the new key does not verify under its "
                  "certificate; look at cci status and provision again");
  }
}

}  // namespace

Status install_chain(const Token& token, const ChainText& chain, Notes& notes) {
  const Certificates certificates = read_chain(chain);
  const auto key = token.public_key("LYR_CSR");
  if (!key) {
    throw Failure(Exit::kNotFound,
                  "cannot install the chain: no key pair waits for it; begin with: cci generate-key");
  }
  require_leaf_of(chain, certificates, *key);
  warn_of_dates(certificates, notes);
  install_or_tell(token, certificates, *key, notes);
  require_working(token, certificates);
  const CertificateFacts leaf = facts_of(certificates.front());
  notes.say("installed " + leaf.subject + ", serial " + leaf.serial + ", valid to " + leaf.not_after);
  notes.say("verified: the new key signs what its certificate verifies");
  return {key, certificates, true, std::nullopt};
}

}  // namespace cci
