// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_x509.h>

#include <map>

#include "checks.h"
#include "commands.h"
#include "shared/chain_rule.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

/// The number of objects of each group, by its name.
using Groups = std::map<std::string, std::size_t>;

std::string name_of(const TrustGroup& group) {
  return "trust group " + group.identifier + " of client " + group.client;
}

Groups groups_on(Findings& findings, TokenSession& token) {
  Groups groups;
  for (const ObjectHandle handle :
       token.find(AttributeContainer(static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP)))) {
    examine(findings, handle, [&] {
      const std::string group = name_of(trust_group_of(Object(token.session(), handle)));
      if (++groups[group] == 2) {
        findings.add(Fault::kTrust, group + " exists twice; destroy both, then add it again");
      }
    });
  }
  return groups;
}

void check_root(Findings& findings, const Groups& groups, const PKCS11_X509_Certificate& root) {
  const std::string group =
      name_of({text_of(root, TEE_CKA_VENDOR_TRUST_STORE_GROUP), text_of(root, TEE_CKA_VENDOR_CLIENT_ID)});
  const std::string text = "object " + std::to_string(root.handle()) + " is a root of the " + group;
  if (groups.count(group) == 0) {
    findings.add(Fault::kTrust, text + ", which does not exist; add the group again, or destroy the root");
  }
  if (!root.is_CA_cert()) {
    findings.add(Fault::kTrust, text + ", but no CA certificate; add the group again with the right one");
  }
}

}  // namespace

void add_all(Findings& findings, const std::string& name, const tools::ChainFindings& found) {
  using tools::ChainFault;
  static const std::map<ChainFault, Fault> kFaults = {
      {ChainFault::kEmpty, Fault::kIncomplete},   {ChainFault::kOtherKey, Fault::kOtherKey},
      {ChainFault::kLeafNotFirst, Fault::kOrder}, {ChainFault::kOrder, Fault::kOrder},
      {ChainFault::kDates, Fault::kDates},        {ChainFault::kUnfit, Fault::kUnfit},
      {ChainFault::kTrust, Fault::kTrust}};
  for (const tools::ChainFinding& each : found) {
    findings.add(kFaults.at(each.fault), name + ": " + each.text + "; " + each.remedy);
  }
}

void check_certificates(Findings& findings, TokenSession& token, unsigned days) {
  const Groups groups = groups_on(findings, token);
  for (const ObjectHandle handle : token.find(CertificateProperties(CertificateType::X509))) {
    examine(findings, handle, [&] {
      const PKCS11_X509_Certificate certificate(token.session(), handle);
      const auto dates = tools::fault_of_dates(certificate, days);
      if (dates) {
        findings.add(Fault::kDates, "object " + std::to_string(handle) + " " + *dates + "; replace it");
      }
      if (is_true(certificate, CKA_TRUSTED) &&
          !value_of(certificate, TEE_CKA_VENDOR_TRUST_STORE_GROUP).empty()) {
        check_root(findings, groups, certificate);
      }
    });
  }
}

}  // namespace tee_token_admin
