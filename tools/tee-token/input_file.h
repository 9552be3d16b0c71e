// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/bigint.h>
#include <botan/ec_group.h>
#include <botan/pkcs10.h>
#include <botan/x509cert.h>

#include <string>
#include <vector>

namespace tee_token_admin {

/// A private key as PKCS#11 takes it.
struct KeyParts {
  std::vector<std::uint8_t> ec_params;  // DER object identifier of the curve
  Botan::BigInt value;
};

/// All bytes of a file. Throws UsageError.
std::string read_file(const std::string& path);

/// Reads an unencrypted EC private key, PEM or DER, PKCS#8 or SEC 1. Throws UsageError, also when the file
/// goes on behind it.
KeyParts read_key(const std::string& path);

/// Reads one X.509 certificate, PEM or DER. Throws UsageError, also when the file holds more than one.
Botan::X509_Certificate read_certificate(const std::string& path);

/// Reads X.509 certificates in PEM, at least one. Throws UsageError, also when the file holds anything else
/// than certificates and blanks.
std::vector<Botan::X509_Certificate> read_certificates(const std::string& path);

/// Reads a certificate request, PEM or DER. Throws UsageError, also when its signature is wrong.
Botan::PKCS10_Request read_request(const std::string& path);

/// What an installation makes of a file.
struct ReadChain {
  std::vector<Botan::X509_Certificate> certificates;
  std::size_t undecoded = 0;  // parts that are no certificates, and are left out
};

/// Reads the certificates that an installation would find in the file, which may hold anything else.
ReadChain read_chain(const std::string& path);

}  // namespace tee_token_admin
