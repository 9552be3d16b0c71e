// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/x509cert.h>

#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// Returns the certificates in PEM (RFC 7468, 64 characters a line), back to back; empty for none.
std::string pemOf(const std::vector<Botan::X509_Certificate>& certificates);

}  // namespace tee
}  // namespace ozk
