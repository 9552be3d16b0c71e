// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "check_certificates.h"

#include <botan/p11_x509.h>

#include <map>

#include "chain_faults.h"
#include "examine.h"
#include "shared/label.h"
#include "shared/object_attributes.h"
#include "shared/trust_group.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using GroupNames = std::pair<std::string, std::string>;  // identifier, client

/// How often each group is on the token.
using Groups = std::map<GroupNames, std::size_t>;

std::string name_of(const GroupNames& group) {
  return "trust group " + group.first + " of client " + group.second;
}

Groups groups_on(Findings& findings, TokenSession& token) {
  Groups groups;
  for (const ObjectHandle handle :
       token.find(AttributeContainer(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP)))) {
    examine(findings, handle, [&] {
      const TrustGroup group = trust_group_of(Object(token.session(), handle));
      if (++groups[{group.identifier, group.client}] == 2) {
        findings.add(Fault::kTrust, name_of({group.identifier, group.client}) +
                                        ": it is there twice; destroy both, then add it again");
      }
    });
  }
  return groups;
}

void check_root(Findings& findings, const Groups& groups, const PKCS11_X509_Certificate& root,
                const std::string& name) {
  const GroupNames group(text_of(root, TEE_CKA_VENDOR_TRUST_STORE_GROUP),
                         text_of(root, TEE_CKA_VENDOR_CLIENT_ID));
  if (groups.count(group) == 0) {
    findings.add(Fault::kTrust, name + " is a root of the " + name_of(group) +
                                    ", which is not there; add the group again, or destroy this");
  }
  if (!root.is_CA_cert()) {
    findings.add(Fault::kTrust,
                 name + " is a root of the " + name_of(group) +
                     ", but no authority's certificate; add the group again with the right one");
  }
}

void check_certificate(Findings& findings, const Groups& groups, const PKCS11_X509_Certificate& certificate,
                       unsigned days) {
  const std::string name = "object " + std::to_string(certificate.handle());
  check_dates(findings, name, certificate, days);
  if (is_true(certificate, CKA_TRUSTED) && !value_of(certificate, TEE_CKA_VENDOR_TRUST_STORE_GROUP).empty()) {
    check_root(findings, groups, certificate, name);
  }
}

}  // namespace

void check_certificates(Findings& findings, TokenSession& token, unsigned days) {
  const Groups groups = groups_on(findings, token);
  for (const ObjectHandle handle : token.find(CertificateProperties(CertificateType::X509))) {
    examine(findings, handle, [&] {
      check_certificate(findings, groups, PKCS11_X509_Certificate(token.session(), handle), days);
    });
  }
}

}  // namespace tee_token_admin
