// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "certificates.h"
#include "text.h"

namespace wrong_chains {

/// A backend with a root and an intermediate of its own, and the right answer to one request.
class Backend {
 public:
  /// `request`: PKCS#10, DER or PEM. Throws std::runtime_error when it cannot be read or its signature is
  /// wrong.
  explicit Backend(const std::string& request);

  /// Certifies the requested key and name, but for `change`.
  Certificate issue(const Change& change = {}) const;

  /// PEM: `leaf`, intermediate, root.
  std::string chain_of(const Certificate& leaf) const;
  std::string chain() const { return chain_of(leaf); }

  const Request request;
  const Authority root, intermediate;
  const Certificate leaf;
};

}  // namespace wrong_chains
