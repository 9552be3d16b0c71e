// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/certstor.h>
#include <botan/data_src.h>
#include <botan/p11_ecdsa.h>
#include <botan/pkcs10.h>
#include <botan/x509_dn.h>
#include <botan/x509path.h>

#include <memory>

#include "checks.h"
#include "commands.h"
#include "shared/object_attributes.h"
#include "shared/shown_text.h"
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
  throw UsageError(request_file + " is not a certificate request (PEM or DER) with a valid signature");
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
  const std::size_t leaf = index_of_key(chain, *requested.key);
  if (requested.subject && leaf != chain.size() && chain[leaf].subject_dn() != *requested.subject) {
    findings.add(Fault::kUnfit, "chain: the leaf's subject is '" + chain[leaf].subject_dn().to_string() +
                                    "', the requested one '" + requested.subject->to_string() + "'");
  }
}

void check_roots(Findings& findings, const Certificates& chain,
                 const std::optional<std::string>& roots_file) {
  if (!roots_file || chain.empty()) {
    return;
  }
  Botan::Certificate_Store_In_Memory roots;
  for (const Botan::X509_Certificate& root : tools::read_certificates(*roots_file)) {
    roots.add_certificate(root);
  }
  const auto path = Botan::x509_path_validate(chain, Botan::Path_Validation_Restrictions(), roots, "",
                                              Botan::Usage_Type::TLS_CLIENT_AUTH);
  if (!path.successful_validation()) {
    findings.add(Fault::kTrust,
                 "chain: it does not verify with the roots in " + *roots_file + ": " + path.result_string());
  }
}

/// What an installation would do: the token refuses a chain only when no certificate matches the key.
const char* verdict_on(const Certificates& chain, const Botan::Public_Key& key) {
  return chain.empty()                              ? "an empty chain would be installed"
         : index_of_key(chain, key) == chain.size() ? "would be refused"
                                                    : "would be installed";
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
  check_chain_of(findings, "chain", read.certificates, *requested.key, wanted.days);
  check_subject(findings, read.certificates, requested);
  check_roots(findings, read.certificates, wanted.roots);
  findings.print(verdict_on(read.certificates, *requested.key), json);
  return findings.exit_code();
}

}  // namespace tee_token_admin
