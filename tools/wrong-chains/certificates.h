// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

#include "openssl.h"

namespace wrong_chains {

/// What is made different about a certificate before it is signed.
using Change = std::function<void(X509*)>;

/// One who certifies others.
struct Authority {
  Certificate certificate;
  Key key;
};

Key new_key();  ///< on P-256

Authority make_root(const std::string& name);
Authority make_intermediate(const std::string& name, const Authority& issuer);

/// Certifies an authority for ten years; one without an issuer is a root.
Certificate certify_authority(const std::string& name, const Key& key, const Authority* issuer);

/// Certifies a client for a year.
Certificate certify_client(const X509_NAME* name, EVP_PKEY* key, const Authority& issuer,
                           const Change& change = {});

/// Signs anew. All signatures by P-256 keys are equally long, so that what is made of a request always has
/// the same size.
void sign(X509* certificate, EVP_PKEY* key, const EVP_MD* digest = EVP_sha256());

/// Validity from now, in days.
void set_days(X509* certificate, int from, int to);

/// An extension as openssl's configuration writes it; `issuer` for those that speak of it.
void add_extension(X509* certificate, const char* name, const char* value, X509* issuer = nullptr);

void set_common_name(X509* certificate, const std::string& name);

}  // namespace wrong_chains
