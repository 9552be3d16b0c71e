// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace provisioning {

/// The other side: a certification authority with a root and an intermediate, on the openssl command.
/// Its files are in the working folder.
class Backend {
 public:
  /// Makes root.pem and intermediate.pem.
  Backend();

  /// Certifies the request in `request_file` (DER) for a year: the new certificate and the intermediate, PEM.
  std::string certify(const std::string& request_file) const;
};

/// Makes a key and a certificate that a device has from the start: NAME.key and NAME.pem.
void make_device_certificate(const std::string& name, const std::string& common_name);

}  // namespace provisioning
