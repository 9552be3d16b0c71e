// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/chain_rule.h"

#include <botan/certstor.h>
#include <botan/ecc_key.h>
#include <botan/x509_dn.h>
#include <botan/x509path.h>

#include <algorithm>
#include <ctime>
#include <memory>

namespace tools {
namespace {

constexpr std::size_t kLongestSerial = 20;  // RFC 5280, 4.1.2.2
constexpr double kSecondsADay = 86400;

/// Null for a type of key that Botan cannot read.
std::unique_ptr<Botan::Public_Key> key_of(const Botan::X509_Certificate& certificate) {
  try {
    return certificate.load_subject_public_key();
  } catch (const Botan::Exception&) {
    return nullptr;
  }
}

bool is_for(const Botan::X509_Certificate& certificate, const Botan::Public_Key& key) {
  const auto held = key_of(certificate);
  const auto* const wanted = dynamic_cast<const Botan::EC_PublicKey*>(&key);
  const auto* const found = dynamic_cast<const Botan::EC_PublicKey*>(held.get());
  return wanted != nullptr && found != nullptr && found->domain() == wanted->domain() &&
         found->public_point() == wanted->public_point();
}

bool has_issued(const Botan::X509_Certificate& issuer, const Botan::X509_Certificate& subject) {
  const auto key = key_of(issuer);
  return issuer.subject_dn() == subject.issuer_dn() && key != nullptr && subject.check_signature(*key);
}

std::string numbered(std::size_t index) { return "certificate " + std::to_string(index + 1); }

void examine_leaf(ChainFindings& findings, const std::string& name, const Botan::X509_Certificate& leaf,
                  const Botan::Public_Key& key) {
  const struct {
    bool wrong;
    const char* text;
  } rules[] = {
      {leaf.x509_version() < 3, " is of X.509 version 1, which many servers refuse"},
      {leaf.is_CA_cert(), " is a CA certificate"},
      {!leaf.allowed_usage(Botan::Usage_Type::TLS_CLIENT_AUTH), " is not for TLS clients"},
      {leaf.serial_number().size() > kLongestSerial, " has a serial number of more than 20 bytes"},
      {leaf.subject_public_key_info() != key.subject_public_key(), " does not name the key's curve"},
  };
  for (const auto& rule : rules) {
    if (rule.wrong) {
      findings.push_back({ChainFault::kUnfit, name + rule.text, "ask for a client certificate"});
    }
  }
}

/// Reports the first break only.
void examine_order(ChainFindings& findings, const Certificates& chain) {
  for (std::size_t i = 0; i + 1 < chain.size(); ++i) {
    if (has_issued(chain[i + 1], chain[i])) continue;
    findings.push_back({ChainFault::kOrder, numbered(i) + " is not issued by the next one",
                        "ask for the leaf, then its issuers in order"});
    return;
  }
}

void examine_dates(ChainFindings& findings, const Certificates& chain, unsigned days) {
  for (std::size_t i = 0; i < chain.size(); ++i) {
    const auto fault = fault_of_dates(chain[i], days);
    if (fault) {
      findings.push_back({ChainFault::kDates, numbered(i) + " " + *fault, "renew it: cci provision"});
    }
  }
}

/// From "2026/11/25 09:30:00 UTC": Botan's own numbers go through a clock that ends in 2262.
std::tm parts_of(const Botan::X509_Time& time) {
  std::tm parts{};
  ::strptime(time.readable_string().c_str(), "%Y/%m/%d %H:%M:%S", &parts);
  return parts;
}

}  // namespace

ChainFindings findings_of_chain(const Certificates& chain, const Botan::Public_Key& key, unsigned days) {
  ChainFindings findings;
  if (chain.empty()) return {{ChainFault::kEmpty, "it is empty", "install a chain for the key"}};
  const std::size_t leaf = index_of_leaf(chain, key);
  if (leaf == chain.size()) {
    findings.push_back({ChainFault::kOtherKey,
                        "none of its " + std::to_string(chain.size()) +
                            " certificates is for the key; the first is " +
                            chain.front().subject_dn().to_string(),
                        "ask for one with a request for it"});
  } else {
    if (leaf != 0) {
      findings.push_back(
          {ChainFault::kLeafNotFirst, numbered(leaf) + " is the client's", "it must be the first"});
    }
    examine_leaf(findings, numbered(leaf), chain[leaf], key);
  }
  examine_order(findings, chain);
  examine_dates(findings, chain, days);
  return findings;
}

ChainFindings findings_of_path(const Certificates& chain, const Certificates& roots,
                               const std::string& name) {
  Botan::Certificate_Store_In_Memory trusted;
  for (const Botan::X509_Certificate& root : roots) trusted.add_certificate(root);
  const auto path = Botan::x509_path_validate(chain, Botan::Path_Validation_Restrictions(), trusted, "",
                                              Botan::Usage_Type::TLS_CLIENT_AUTH);
  if (path.successful_validation()) return {};
  return {{ChainFault::kTrust, "it does not verify with the roots in " + name + ": " + path.result_string(),
           "ask for a chain that ends there"}};
}

std::size_t index_of_leaf(const Certificates& chain, const Botan::Public_Key& key) {
  const auto found = std::find_if(chain.begin(), chain.end(),
                                  [&](const auto& certificate) { return is_for(certificate, key); });
  return static_cast<std::size_t>(found - chain.begin());
}

std::optional<std::string> fault_of_dates(const Botan::X509_Certificate& certificate, unsigned days) {
  if (days_until(certificate.not_before()) > 0) {
    return "is not valid before " + iso_time(certificate.not_before());
  }
  const double left = days_until(certificate.not_after());
  if (left >= days && left >= 0) return std::nullopt;
  return (left < 0 ? "expired on " : "will expire on ") + iso_time(certificate.not_after());
}

std::string iso_time(const Botan::X509_Time& time) {
  const std::tm parts = parts_of(time);
  char text[40];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

double days_until(const Botan::X509_Time& time) {
  std::tm parts = parts_of(time);
  return std::difftime(::timegm(&parts), std::time(nullptr)) / kSecondsADay;
}

}  // namespace tools
