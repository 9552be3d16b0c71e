// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "shared/certificates.h"

namespace cci {

/// What people are shown of a certificate. Times are UTC, as in 2026-11-25T09:30:00Z.
struct CertificateFacts {
  std::string subject, issuer, serial, not_before, not_after, sha256;
  long days_until_valid;  // 0 or less: it is
  long days_left;         // whole days; below 0: it has expired
};

CertificateFacts facts_of(const Botan::X509_Certificate& certificate);

/// "364 days left", "expired 2 days ago", "not valid for another 3 days".
std::string validity_of(const CertificateFacts& facts);

bool is_valid_now(const CertificateFacts& facts);

/// SHA-256 of the SubjectPublicKeyInfo; the key is PEM.
std::string fingerprint_of_key(const std::string& pem);

}  // namespace cci
