// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/x509cert.h>

#include <optional>
#include <string>

#include "certificate_facts.h"
#include "token.h"

namespace cci {

/// What the token has of the client.
struct Status {
  std::optional<std::string> key;  // the installed public key, PEM
  Certificates chain;              // the installed one
  bool key_matches = false;        // the private key is the first certificate's
  std::optional<std::string> pending_key;

  bool is_empty() const { return !key && chain.empty(); }
};

Status status_of(const Token& token);

/// Whether a signature of the installed private key verifies under the certificate.
bool signs_for(const Token& token, const Botan::X509_Certificate& certificate);

}  // namespace cci
