// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "failure.h"
#include "shared/certificates.h"

namespace cci {

using tools::Certificates;

std::string pem_of(const Certificates& certificates);

/// The certificates that the token returned. Throws a Failure of class kTokenFailed when one cannot be read.
Certificates certificates_of(const std::string& pem);

/// A text that should be a chain, and the failures to throw when it is not.
struct ChainText {
  std::string name;  // for people: a file, or "the answer"
  std::string text;
  Exit unreadable, unfit;
  std::string hint = {};  // what to try when it has no certificate for the key
};

/// Reads the certificates, PEM or DER, as an installation does. Throws a Failure when there is none, or when
/// an installation would leave a part out.
Certificates read_chain(const ChainText& chain);

/// What an installation demands of a chain besides being for the key.
struct Demands {
  std::optional<Certificates> roots = {};  // the chain ends at one of them
  std::string roots_name = {};
  bool force = false;  // only warn, unless no identity that works could come of it
};

/// Throws a Failure unless the chain is one that a TLS client with this public key (PEM) can use now. With
/// `force`, calls `warn` with each reason instead.
void require_usable(const ChainText& chain, const Certificates& certificates, const std::string& key,
                    const Demands& demands, const std::function<void(const std::string&)>& warn);

/// The fields of a certificate that are shown. Times are UTC, as in 2026-11-25T09:30:00Z.
struct CertificateFacts {
  std::string subject, issuer, serial, not_before, not_after, sha256;
  long days_until_valid;  // 0 or less: validity has begun
  long days_left;         // whole days; below 0: it has expired

  bool is_valid_now() const { return days_left >= 0 && days_until_valid <= 0; }
};

CertificateFacts facts_of(const Botan::X509_Certificate& certificate);

/// "364 days left", "expired 2 days ago", "not valid for another 3 days".
std::string validity_of(const CertificateFacts& facts);

/// The validity of a chain, which is not empty: that of its certificate that is not valid yet, or else ends
/// first.
struct ChainValidity {
  std::size_t index;  // of the certificate
  CertificateFacts facts;
};

ChainValidity validity_of(const Certificates& chain);

/// SHA-256 of the SubjectPublicKeyInfo; the key is PEM.
std::string fingerprint_of_key(const std::string& pem);

}  // namespace cci
