// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "failure.h"
#include "shared/certificates.h"

namespace cci {

using tools::Certificates;

std::string pem_of(const Certificates& certificates);

/// The certificates that the token returned. Throws a Failure of class kTokenFailed when one cannot be read.
Certificates certificates_of(const std::string& pem);

/// A text that should be a chain, and the failure when it is none.
struct ChainText {
  std::string name;  // for people: a file, or "the backend's answer"
  std::string text;
  Exit unreadable, unfit;
  std::string hint = {};  // what to try when it has no certificate for the key
};

/// Reads the certificates, PEM or DER, as an installation does. Throws a Failure when there is none, or when
/// an installation would leave a part out.
Certificates read_chain(const ChainText& chain);

/// Throws a Failure unless the first certificate is for the public key (PEM), in the form that the key has.
void require_leaf_of(const ChainText& chain, const Certificates& certificates, const std::string& key);

}  // namespace cci
