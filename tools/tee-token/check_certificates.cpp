// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/ecc_key.h>
#include <botan/p11_x509.h>
#include <botan/x509_dn.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>

#include "checks.h"
#include "shared/object_attributes.h"
#include "trust_group.h"

namespace tee_token_admin {

using tools::Certificates;

using namespace Botan::PKCS11;

namespace {

constexpr std::size_t kLongestSerial = 20;  // RFC 5280, 4.1.2.2

/// Null for a type of key that Botan cannot read.
std::unique_ptr<Botan::Public_Key> key_of(const Botan::X509_Certificate& certificate) {
  try {
    return certificate.load_subject_public_key();
  } catch (const Botan::Exception&) {
    return nullptr;
  }
}

bool has_issued(const Botan::X509_Certificate& issuer, const Botan::X509_Certificate& subject) {
  const auto key = key_of(issuer);
  return issuer.subject_dn() == subject.issuer_dn() && key != nullptr && subject.check_signature(*key);
}

std::string numbered(const std::string& name, std::size_t index) {
  return name + ": certificate " + std::to_string(index + 1);
}

/// Reports the first break only.
void check_order(Findings& findings, const std::string& name, const Certificates& chain) {
  // "Each following certificate MUST directly certify the one preceding it" (RFC 5246, 7.4.2).
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    if (!has_issued(chain[i + 1], chain[i])) {
      findings.add(
          Fault::kOrder,
          numbered(name, i) + " is not issued by the next one; ask for the leaf, then its issuers in order");
      return;
    }
  }
}

void check_leaf(Findings& findings, const std::string& name, const Botan::X509_Certificate& leaf) {
  const struct {
    bool wrong;
    const char* text;
  } rules[] = {
      {leaf.x509_version() < 3, " is of X.509 version 1, which many servers refuse"},
      {leaf.is_CA_cert(), " is a CA certificate"},
      {!leaf.allowed_usage(Botan::Usage_Type::TLS_CLIENT_AUTH), " is not for TLS clients"},
      {leaf.serial_number().size() > kLongestSerial, " has a serial number of more than 20 bytes"},
  };
  for (const auto& rule : rules) {
    if (rule.wrong) {
      findings.add(Fault::kUnfit, name + rule.text + "; ask for a client certificate");
    }
  }
}

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

std::size_t index_of_key(const Certificates& chain, const Botan::Public_Key& key) {
  const auto* const wanted = dynamic_cast<const Botan::EC_PublicKey*>(&key);
  const auto is_for_key = [&](const Botan::X509_Certificate& certificate) {
    const auto held = key_of(certificate);
    const auto* const found = dynamic_cast<const Botan::EC_PublicKey*>(held.get());
    return wanted != nullptr && found != nullptr && found->domain() == wanted->domain() &&
           found->public_point() == wanted->public_point();
  };
  return static_cast<std::size_t>(std::find_if(chain.begin(), chain.end(), is_for_key) - chain.begin());
}

void check_dates(Findings& findings, const std::string& name, const Botan::X509_Certificate& certificate,
                 unsigned days) {
  const auto now = std::chrono::system_clock::now();
  const Botan::X509_Time today(now), later(now + std::chrono::hours(24) * days);
  if (today < certificate.not_before()) {
    findings.add(Fault::kDates, name + " is not valid before " + certificate.not_before().readable_string());
  } else if (certificate.not_after() < later) {
    findings.add(Fault::kDates, name +
                                    (certificate.not_after() < today ? " expired on " : " will expire on ") +
                                    certificate.not_after().readable_string() + "; renew it");
  }
}

void check_chain_of(Findings& findings, const std::string& name, const Certificates& chain,
                    const Botan::Public_Key& key, unsigned days) {
  if (chain.empty()) {
    findings.add(Fault::kIncomplete, name + " is empty; install a chain for the key");
    return;
  }
  const std::size_t leaf = index_of_key(chain, key);
  if (leaf == chain.size()) {
    findings.add(Fault::kOtherKey,
                 name + ": no certificate matches the key; ask for one with a request for it");
  } else {
    check_leaf(findings, numbered(name, leaf), chain[leaf]);
    if (leaf != 0) {
      findings.add(Fault::kOrder, numbered(name, leaf) + " matches the key; it must be the first");
    }
  }
  check_order(findings, name, chain);
  for (std::size_t i = 0; i < chain.size(); ++i) {
    check_dates(findings, numbered(name, i), chain[i], days);
  }
}

void check_certificates(Findings& findings, TokenSession& token, unsigned days) {
  const Groups groups = groups_on(findings, token);
  for (const ObjectHandle handle : token.find(CertificateProperties(CertificateType::X509))) {
    examine(findings, handle, [&] {
      const PKCS11_X509_Certificate certificate(token.session(), handle);
      check_dates(findings, "object " + std::to_string(handle), certificate, days);
      if (is_true(certificate, CKA_TRUSTED) &&
          !value_of(certificate, TEE_CKA_VENDOR_TRUST_STORE_GROUP).empty()) {
        check_root(findings, groups, certificate);
      }
    });
  }
}

}  // namespace tee_token_admin
