// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "certificate_facts.h"
#include "exit_code.h"

namespace cci {

/// The certificates that the token gave. Throws a Failure of class kTokenFailed when one cannot be read.
Certificates certificates_of(const std::string& pem);

/// A text that should be a chain, and whose fault it is when it is none.
struct ChainText {
  std::string name;  // for people: a file, or "the backend's answer"
  std::string text;
  Exit unreadable, unfit;
};

/// Reads the certificates, PEM or DER, with whatever is around them, as an installation does. Throws a
/// Failure when there is none, or when there is a part that an installation would leave out.
Certificates read_chain(const ChainText& chain);

/// Throws a Failure unless the first certificate is for the public key (PEM), in the form that the key has.
void require_leaf_of(const ChainText& chain, const Certificates& certificates, const std::string& key);

}  // namespace cci
