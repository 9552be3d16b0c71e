// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain.h"

#include <botan/data_src.h>
#include <botan/hex.h>
#include <botan/x509_dn.h>
#include <botan/x509_key.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

#include "shared/chain_rule.h"
#include "shared/shown_text.h"

namespace cci {

using shown_text::counted;

std::string pem_of(const Certificates& certificates) {
  std::string pem;
  for (const auto& certificate : certificates) pem += certificate.PEM_encode();
  return pem;
}

Certificates certificates_of(const std::string& pem) {
  if (pem.empty()) return {};
  return read_chain({"the token's answer", pem, Exit::kTokenFailed, Exit::kTokenFailed});
}

namespace {

/// The first line that is not empty.
std::string beginning_of(const std::string& text) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  const std::string line = text.substr(begin, text.find_first_of("\r\n", begin) - begin);
  return shown_text::shortened(line, 60);
}

}  // namespace

Certificates read_chain(const ChainText& chain) {
  tools::FoundCertificates found = tools::find_certificates(chain.text);
  if (found.certificates.empty()) {
    const std::string begins = "; " + chain.name + " begins: " + beginning_of(chain.text);
    throw Failure(chain.unreadable,
                  chain.name + (chain.text.empty() ? " is empty" : " holds no certificate" + begins) +
                      "; expected are certificates, the client's first" + chain.hint);
  }
  if (found.unreadable > 0) {
    throw Failure(chain.unreadable, chain.name + " has " + counted(found.certificates.size(), "certificate") +
                                        " and " + counted(found.unreadable, "part") +
                                        " that cannot be read as one; expected are complete certificates and "
                                        "nothing else");
  }
  return std::move(found.certificates);
}

namespace {

std::unique_ptr<Botan::Public_Key> key_of_pem(const std::string& pem) {
  Botan::DataSource_Memory source(pem);
  return std::unique_ptr<Botan::Public_Key>(Botan::X509::load_key(source));
}

std::string clock() { return tools::iso_time(Botan::X509_Time(std::chrono::system_clock::now())); }

/// The finding for somebody who has to install the chain, or ask for another one.
std::string text_of(const ChainText& chain, const tools::ChainFinding& finding) {
  const std::string text = chain.name + ": " + finding.text;
  switch (finding.fault) {
    case tools::ChainFault::kOtherKey:
      return text + chain.hint;
    case tools::ChainFault::kDates:
      return text + "; the clock says " + clock();
    default:
      return text + "; " + finding.remedy;
  }
}

bool can_be_forced(tools::ChainFault fault) {
  return fault != tools::ChainFault::kOtherKey && fault != tools::ChainFault::kLeafNotFirst;
}

}  // namespace

void require_usable(const ChainText& chain, const Certificates& certificates, const std::string& key,
                    const Demands& demands, const std::function<void(const std::string&)>& warn) {
  tools::ChainFindings findings = tools::findings_of_chain(certificates, *key_of_pem(key));
  if (demands.roots) {
    const auto path = tools::findings_of_path(certificates, *demands.roots, demands.roots_name);
    findings.insert(findings.end(), path.begin(), path.end());
  }
  for (const tools::ChainFinding& each : findings) {
    if (!can_be_forced(each.fault)) throw Failure(chain.unfit, text_of(chain, each));
    if (!demands.force) throw Failure(chain.unfit, text_of(chain, each) + "; --force installs it");
    warn(text_of(chain, each));
  }
}

CertificateFacts facts_of(const Botan::X509_Certificate& certificate) {
  return {certificate.subject_dn().to_string(),
          certificate.issuer_dn().to_string(),
          Botan::hex_encode(certificate.serial_number(), false),
          tools::iso_time(certificate.not_before()),
          tools::iso_time(certificate.not_after()),
          certificate.fingerprint("SHA-256"),
          std::lround(std::ceil(tools::days_until(certificate.not_before()))),
          std::lround(std::floor(tools::days_until(certificate.not_after())))};
}

std::string validity_of(const CertificateFacts& facts) {
  const auto days = [](long number) { return counted(static_cast<std::size_t>(number), "day"); };
  if (facts.days_left == -1) return "expired within the last day";
  if (facts.days_left < 0) return "expired " + days(-1 - facts.days_left) + " ago";
  if (facts.days_until_valid > 0) return "not valid for another " + days(facts.days_until_valid);
  return days(facts.days_left) + " left";
}

ChainValidity validity_of(const Certificates& chain) {
  ChainValidity result{0, facts_of(chain.front())};
  for (std::size_t i = 1; i < chain.size(); ++i) {
    const CertificateFacts facts = facts_of(chain[i]);
    const bool is_worse = result.facts.days_until_valid <= 0 &&
                          (facts.days_until_valid > 0 || facts.days_left < result.facts.days_left);
    if (is_worse) result = {i, facts};
  }
  return result;
}

std::string fingerprint_of_key(const std::string& pem) {
  return key_of_pem(pem)->fingerprint_public("SHA-256");
}

}  // namespace cci
