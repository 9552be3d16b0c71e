// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// The client under whose name this library's callers store objects on the token.
constexpr auto kClientId = "CCI_CLIENT";

constexpr auto kChainLabel = "10_102";  ///< label of the client's certificate chain, in text form
constexpr auto kLYRKeyId = "LYR";       ///< the installed key pair and chain; on the token, the temporary too
constexpr auto kLYRCSRKeyId = "LYR_CSR";  ///< the temporary key pair that waits for its certificate
constexpr auto kBASEKeyId = "BASE";       ///< the device's base key and certificates
constexpr auto kZEMPKeyId = "ZEMP";       ///< the ZEMP certificates

/// Labels of the certificates returned for "ZEMP" and "BASE", in this order.
extern const std::vector<std::string> kZEMPCertIds;
extern const std::vector<std::string> kBASECertIds;

}  // namespace tee
}  // namespace ozk
