// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace ozk {
namespace tee {

/// The client identifier of this library's objects on the token.
constexpr auto kClientId = "CCI_CLIENT";

extern const std::string kChainLabel;  ///< label of the client's certificate chain, in text form
extern const std::string kLYRKeyId;    ///< the installed key pair and chain; on the token also temporary ones
extern const std::string kLYRCSRKeyId;  ///< the temporary key pair, until its certificate is installed
extern const std::string kBASEKeyId;    ///< the device's base key and certificates
extern const std::string kZEMPKeyId;    ///< the ZEMP certificates

/// Labels of the certificates returned for "ZEMP" and "BASE", in this order.
extern const std::vector<std::string> kZEMPCertIds;
extern const std::vector<std::string> kBASECertIds;

}  // namespace tee
}  // namespace ozk
