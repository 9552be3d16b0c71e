// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain_faults.h"

#include <botan/ecc_key.h>
#include <botan/x509_dn.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace tee_token_admin {
namespace {

constexpr std::size_t kLongestSerial = 20;  // RFC 5280, 4.1.2.2

/// Null for a key of a kind that Botan does not read.
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

/// Finds the first break alone: it is one fault, however long the chain.
void check_order(Findings& findings, const std::string& name, const Certificates& chain) {
  // "Each following certificate MUST directly certify the one preceding it" (RFC 5246, 7.4.2).
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    if (!has_issued(chain[i + 1], chain[i])) {
      findings.add(
          Fault::kOrder,
          numbered(name, i) + " is not issued by the next; ask for the leaf, then its issuers in order");
      return;
    }
  }
}

void check_leaf(Findings& findings, const std::string& name, const Botan::X509_Certificate& leaf) {
  const struct {
    bool wrong;
    const char* text;
  } rules[] = {
      {leaf.x509_version() < 3, " is of version 1, which many servers refuse"},
      {leaf.is_CA_cert(), " is an authority's"},
      {!leaf.allowed_usage(Botan::Usage_Type::TLS_CLIENT_AUTH), " is not for TLS clients"},
      {leaf.serial_number().size() > kLongestSerial, " has a serial number of more than 20 bytes"},
  };
  for (const auto& rule : rules) {
    if (rule.wrong) {
      findings.add(Fault::kUnfit, name + rule.text + "; ask for a client's certificate");
    }
  }
}

}  // namespace

bool carries(const Botan::X509_Certificate& certificate, const Botan::Public_Key& key) {
  const auto carried = key_of(certificate);
  const auto* const one = dynamic_cast<const Botan::EC_PublicKey*>(carried.get());
  const auto* const other = dynamic_cast<const Botan::EC_PublicKey*>(&key);
  return one != nullptr && other != nullptr && one->domain() == other->domain() &&
         one->public_point() == other->public_point();
}

std::size_t place_of_key(const Certificates& chain, const Botan::Public_Key& key) {
  const auto found =
      std::find_if(chain.begin(), chain.end(),
                   [&](const Botan::X509_Certificate& certificate) { return carries(certificate, key); });
  return static_cast<std::size_t>(found - chain.begin());
}

void check_dates(Findings& findings, const std::string& name, const Botan::X509_Certificate& certificate,
                 unsigned days) {
  const auto now = std::chrono::system_clock::now();
  const Botan::X509_Time today(now), later(now + std::chrono::hours(24) * days);
  if (today < certificate.not_before()) {
    findings.add(Fault::kDates, name + " is valid only from " + certificate.not_before().readable_string());
  } else if (certificate.not_after() < later) {
    findings.add(Fault::kDates, name +
                                    (certificate.not_after() < today ? " expired on " : " will expire on ") +
                                    certificate.not_after().readable_string() + "; renew it");
  }
}

void check_chain_of(Findings& findings, const std::string& name, const Certificates& chain,
                    const Botan::Public_Key& key, unsigned days) {
  if (chain.empty()) {
    findings.add(Fault::kIncomplete, name + ": there is no certificate; install a chain for the key");
    return;
  }
  const std::size_t place = place_of_key(chain, key);
  if (place == chain.size()) {
    findings.add(Fault::kOtherKey,
                 name + ": no certificate is for the key; ask for one with its own request");
  } else {
    check_leaf(findings, numbered(name, place), chain[place]);
  }
  if (place != 0 && place != chain.size()) {
    findings.add(Fault::kOrder, numbered(name, place) + " is the key's; it has to be the first");
  }
  check_order(findings, name, chain);
  for (std::size_t i = 0; i < chain.size(); ++i) {
    check_dates(findings, numbered(name, i), chain[i], days);
  }
}

}  // namespace tee_token_admin
