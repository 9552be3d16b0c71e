// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/x509cert.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

using Certificates = std::vector<Botan::X509_Certificate>;

/// The certificates that an installation finds in a text.
struct FoundCertificates {
  Certificates certificates;   // in the order of the text
  std::size_t unreadable = 0;  // parts (PEM blocks or DER) that are no certificate and are left out
};

/// Finds the certificates in a text, PEM or DER, as an installation does: the text around PEM blocks is
/// skipped. The time that hostile text takes is bounded: stops at the 17th unreadable part, and a certificate
/// of more than 16 KiB counts as one.
FoundCertificates find_certificates(const std::string& text);

/// The certificates of a file, PEM or DER. Throws std::runtime_error when there are none or an unreadable
/// part.
Certificates read_certificates(const std::string& path);

}  // namespace tools
