// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace provisioning {

/// Throws std::runtime_error, which ends the demonstration, unless `held`.
void require(bool held, const std::string& claim);

/// Throws unless `signature` (r||s) over `message` verifies under the public key in the file, by openssl.
void require_signature(const std::string& public_key_file, const std::string& message,
                       const std::vector<std::uint8_t>& signature);

/// Number of certificates in a PEM text.
std::size_t certificate_count(const std::string& pem);

/// Serial number of the first certificate in the PEM file, in hexadecimal.
std::string serial_of(const std::string& pem_file);

/// Serial number and SHA-256 fingerprint (its first bytes) of the first certificate in the PEM file.
std::string identity_of(const std::string& pem_file);

/// Whether `report` gives the explanations, too.
void explain_steps(bool explained);

/// One line for one step that held; numbers the steps. `explanation` says what stands behind it. Coloured on
/// a terminal.
void report(const std::string& step, const std::string& shown, const std::string& explanation);
int steps_reported();

}  // namespace provisioning
