// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/pk_keys.h>
#include <botan/x509cert.h>

#include <string>
#include <vector>

#include "finding.h"

namespace tee_token_admin {

using Certificates = std::vector<Botan::X509_Certificate>;

/// Whether the certificate is for this key. Curves are compared by their numbers, however they are written.
bool carries(const Botan::X509_Certificate& certificate, const Botan::Public_Key& key);

/// The place of the first certificate that is for the key; the chain's size when there is none.
std::size_t place_of_key(const Certificates& chain, const Botan::Public_Key& key);

/// Finds what is wrong with the dates of a certificate: now, or `days` from now. `name` begins the text.
void check_dates(Findings& findings, const std::string& name, const Botan::X509_Certificate& certificate,
                 unsigned days);

/// Finds what keeps a TLS client with this key from using the chain. Its certificates are numbered from 1.
void check_chain_of(Findings& findings, const std::string& name, const Certificates& chain,
                    const Botan::Public_Key& key, unsigned days);

}  // namespace tee_token_admin
