// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain.h"

#include <botan/data_src.h>
#include <botan/hex.h>
#include <botan/pem.h>
#include <botan/x509_dn.h>
#include <botan/x509_key.h>

#include <cmath>
#include <ctime>
#include <memory>
#include <utility>

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

Certificates read_chain(const ChainText& chain) {
  tools::FoundCertificates found = tools::find_certificates(chain.text);
  if (found.certificates.empty()) {
    throw Failure(chain.unreadable,
                  chain.name + (chain.text.empty() ? " is empty" : " holds no certificate") +
                      "; expected are certificates in PEM, the client's first" + chain.hint);
  }
  if (found.unreadable > 0) {
    throw Failure(chain.unreadable, chain.name + " has " + counted(found.certificates.size(), "certificate") +
                                        " and " + counted(found.unreadable, "part") +
                                        " that cannot be read as one; expected are complete certificates in "
                                        "PEM and nothing else");
  }
  return std::move(found.certificates);
}

void require_leaf_of(const ChainText& chain, const Certificates& certificates, const std::string& key) {
  const auto wanted = Botan::unlock(Botan::PEM_Code::decode_check_label(key, "PUBLIC KEY"));
  for (std::size_t i = 0; i < certificates.size(); ++i) {
    if (certificates[i].subject_public_key_info() != wanted) continue;
    if (i == 0) return;
    throw Failure(chain.unfit, chain.name + ": certificate " + std::to_string(i + 1) +
                                   " is the client's; it must be the first");
  }
  throw Failure(chain.unfit, chain.name + " has no certificate for the pending key pair; the first of " +
                                 std::to_string(certificates.size()) + " is " +
                                 certificates.front().subject_dn().to_string() + chain.hint);
}

namespace {

constexpr double kSecondsADay = 86400;

/// From "2026/11/25 09:30:00 UTC": Botan's own numbers go through a clock that ends in 2262.
std::tm parts_of(const Botan::X509_Time& time) {
  std::tm parts{};
  ::strptime(time.readable_string().c_str(), "%Y/%m/%d %H:%M:%S", &parts);
  return parts;
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

}  // namespace

CertificateFacts facts_of(const Botan::X509_Certificate& certificate) {
  return {certificate.subject_dn().to_string(),
          certificate.issuer_dn().to_string(),
          Botan::hex_encode(certificate.serial_number(), false),
          iso_time(certificate.not_before()),
          iso_time(certificate.not_after()),
          certificate.fingerprint("SHA-256"),
          std::lround(std::ceil(days_until(certificate.not_before()))),
          std::lround(std::floor(days_until(certificate.not_after())))};
}

std::string validity_of(const CertificateFacts& facts) {
  const auto days = [](long number) { return counted(static_cast<std::size_t>(number), "day"); };
  if (facts.days_left == -1) return "expired within the last day";
  if (facts.days_left < 0) return "expired " + days(-1 - facts.days_left) + " ago";
  if (facts.days_until_valid > 0) return "not valid for another " + days(facts.days_until_valid);
  return days(facts.days_left) + " left";
}

bool is_valid_now(const CertificateFacts& facts) {
  return facts.days_left >= 0 && facts.days_until_valid <= 0;
}

std::string fingerprint_of_key(const std::string& pem) {
  Botan::DataSource_Memory source(pem);
  return std::unique_ptr<Botan::Public_Key>(Botan::X509::load_key(source))->fingerprint_public("SHA-256");
}

}  // namespace cci
