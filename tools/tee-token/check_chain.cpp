// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/data_src.h>
#include <botan/p11_ecdsa.h>
#include <botan/pkcs10.h>
#include <botan/x509_dn.h>

#include <memory>

#include "checks.h"
#include "commands.h"
#include "shared/shown_text.h"
#include "shared/token_access.h"
#include "shared/whole_file.h"

namespace tee_token_admin {

using tools::Certificates;

using namespace Botan::PKCS11;

namespace {

/// The key that the chain should be for.
struct Requested {
  std::unique_ptr<Botan::Public_Key> key;
  std::optional<Botan::X509_DN> subject;  // of the request, if it is known
};

Requested requested_by(const std::string& request_file) {
  const std::string content = tools::read_file(request_file);
  Botan::DataSource_Memory source(content);
  try {
    const Botan::PKCS10_Request request(source);
    std::unique_ptr<Botan::Public_Key> key(request.subject_public_key());
    if (request.check_signature(*key)) {
      return {std::move(key), request.subject_dn()};
    }
  } catch (const Botan::Exception&) {
    // reported below
  }
  throw UsageError("file '" + request_file +
                   "' is not a certificate request (PEM or DER) with a valid signature");
}

/// The public key with the label; of several, the temporary one, which the next installation takes.
Requested key_of_label(const Target& target, const std::string& label) {
  TokenSession token(target);
  AttributeContainer wanted(ObjectClass::PublicKey);
  wanted.add_binary(AttributeType::Label, label_bytes(label));
  const std::vector<ObjectHandle> found = token.find(wanted);
  if (found.empty()) {
    throw UsageError("no public key " + label + "; see tee-token list, or give a request with --csr");
  }
  ObjectHandle chosen = found.front();
  for (const ObjectHandle handle : found) {
    chosen = is_true(Object(token.session(), handle), TEE_CKA_VENDOR_PERMANENT) ? chosen : handle;
  }
  const PKCS11_ECDSA_PublicKey key(token.session(), chosen);
  return {std::make_unique<Botan::ECDSA_PublicKey>(key.domain(), key.public_point()), std::nullopt};
}

void check_subject(Findings& findings, const Certificates& chain, const Requested& requested) {
  const std::size_t leaf = tools::index_of_leaf(chain, *requested.key);
  if (requested.subject && leaf != chain.size() && chain[leaf].subject_dn() != *requested.subject) {
    findings.add(Fault::kUnfit, "chain: the leaf's subject is '" + chain[leaf].subject_dn().to_string() +
                                    "', the requested one '" + requested.subject->to_string() + "'");
  }
}

tools::ChainFindings findings_of_rule(const Certificates& chain, const Botan::Public_Key& key,
                                      const std::optional<std::string>& roots_file, unsigned days) {
  tools::ChainFindings findings = tools::findings_of_chain(chain, key, days);
  if (roots_file && !chain.empty()) {
    const auto path = tools::findings_of_path(chain, tools::read_certificates(*roots_file), *roots_file);
    findings.insert(findings.end(), path.begin(), path.end());
  }
  return findings;
}

/// What an installation would do: the token itself refuses a chain only when no certificate is for the key.
/// cci does not look at what ends soon, nor at the subject.
const char* verdict_on(const tools::FoundCertificates& chain, const Botan::Public_Key& key,
                       const std::optional<std::string>& roots_file) {
  const bool is_for_key = tools::index_of_leaf(chain.certificates, key) != chain.certificates.size();
  if (!chain.certificates.empty() && !is_for_key) {
    return "would be refused";
  }
  const bool fits = chain.unreadable == 0 && findings_of_rule(chain.certificates, key, roots_file, 0).empty();
  return fits ? "would be installed" : "the token would take it; cci would refuse it";
}

}  // namespace

int check_chain(const Target& target, const ChainCheck& wanted, bool json) {
  const Requested requested =
      wanted.request.empty() ? key_of_label(target, wanted.label) : requested_by(wanted.request);
  const tools::FoundCertificates read = tools::find_certificates(tools::read_file(wanted.chain));
  Findings findings;
  if (read.unreadable != 0) {
    findings.add(Fault::kUnreadable, "chain: " + shown_text::counted(read.unreadable, "part") +
                                         " cannot be read as a certificate and would be left out");
  }
  add_all(findings, "chain", findings_of_rule(read.certificates, *requested.key, wanted.roots, wanted.days));
  check_subject(findings, read.certificates, requested);
  findings.print(verdict_on(read, *requested.key, wanted.roots), json);
  return findings.exit_code();
}

}  // namespace tee_token_admin
