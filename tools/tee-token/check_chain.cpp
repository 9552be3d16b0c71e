// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/certstor.h>
#include <botan/data_src.h>
#include <botan/p11_ecdsa.h>
#include <botan/pkcs10.h>
#include <botan/x509_dn.h>
#include <botan/x509path.h>

#include <memory>

#include "chain_faults.h"
#include "commands.h"
#include "input_file.h"
#include "shared/label.h"
#include "shared/object_attributes.h"
#include "shared/shown_text.h"

namespace tee_token_admin {

using shown_text::counted;

using namespace Botan::PKCS11;

namespace {

/// What the chain is to be for.
struct Requested {
  std::unique_ptr<Botan::Public_Key> key;
  std::unique_ptr<Botan::X509_DN> subject;  // null: not known
};

Requested requested_by(const std::string& request_file) {
  const Botan::PKCS10_Request request = read_request(request_file);
  return {std::unique_ptr<Botan::Public_Key>(request.subject_public_key()),
          std::make_unique<Botan::X509_DN>(request.subject_dn())};
}

/// The public key of the label; of several, the temporary one, which the next installation takes.
Requested key_of_label(const Target& target, const std::string& label) {
  TokenSession token(target);
  AttributeContainer wanted(ObjectClass::PublicKey);
  wanted.add_binary(AttributeType::Label, label_bytes(label));
  const std::vector<ObjectHandle> found = token.find(wanted);
  if (found.empty()) {
    throw UsageError("there is no public key " + label + "; tee-token list shows all, --csr takes a request");
  }
  ObjectHandle chosen = found.front();
  for (const ObjectHandle handle : found) {
    chosen = is_true(Object(token.session(), handle), TEE_CKA_VENDOR_PERMANENT) ? chosen : handle;
  }
  const PKCS11_ECDSA_PublicKey key(token.session(), chosen);
  return {std::make_unique<Botan::ECDSA_PublicKey>(key.domain(), key.public_point()), nullptr};
}

void check_subject(Findings& findings, const Certificates& chain, const Requested& requested) {
  const std::size_t place = place_of_key(chain, *requested.key);
  if (requested.subject == nullptr || place == chain.size()) {
    return;
  }
  const Botan::X509_DN& subject = chain[place].subject_dn();
  if (subject != *requested.subject) {
    findings.add(Fault::kUnfit, "chain: the key's certificate is for '" + subject.to_string() +
                                    "', not for '" + requested.subject->to_string() + "' as requested");
  }
}

void check_roots(Findings& findings, const Certificates& chain,
                 const std::optional<std::string>& roots_file) {
  if (!roots_file || chain.empty()) {
    return;
  }
  Botan::Certificate_Store_In_Memory roots;
  for (const Botan::X509_Certificate& root : read_certificates(*roots_file)) {
    roots.add_certificate(root);
  }
  const auto path = Botan::x509_path_validate(chain, Botan::Path_Validation_Restrictions(), roots, "",
                                              Botan::Usage_Type::TLS_CLIENT_AUTH);
  if (!path.successful_validation()) {
    findings.add(Fault::kTrust,
                 "chain: it does not verify with the roots of " + *roots_file + ": " + path.result_string());
  }
}

/// What an installation would make of it: the token refuses a chain only when no certificate has the key.
const char* verdict_on(const Certificates& chain, const Botan::Public_Key& key) {
  return chain.empty()                              ? "an empty chain would be installed"
         : place_of_key(chain, key) == chain.size() ? "would be refused"
                                                    : "would be installed";
}

}  // namespace

int check_chain(const Target& target, const ChainCheck& wanted, bool json) {
  const Requested requested =
      wanted.request.empty() ? key_of_label(target, wanted.label) : requested_by(wanted.request);
  const ReadChain read = read_chain(wanted.chain);
  Findings findings;
  if (read.undecoded != 0) {
    findings.add(Fault::kUnreadable,
                 "chain: " + counted(read.undecoded, "part") + " of it cannot be read and would be left out");
  }
  check_chain_of(findings, "chain", read.certificates, *requested.key, wanted.days);
  check_subject(findings, read.certificates, requested);
  check_roots(findings, read.certificates, wanted.roots);
  findings.print(verdict_on(read.certificates, *requested.key), json);
  return findings.exit_code();
}

}  // namespace tee_token_admin
