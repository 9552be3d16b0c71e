// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/pk_keys.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "shared/certificates.h"

namespace tools {

/// What can be wrong with a chain. With the first three no installation makes an identity that works.
enum class ChainFault { kEmpty, kOtherKey, kLeafNotFirst, kOrder, kDates, kUnfit, kTrust };

struct ChainFinding {
  ChainFault fault;
  std::string text;    // names the certificate, counted from 1, and what is wrong with it
  const char* remedy;  // what to do
};

using ChainFindings = std::vector<ChainFinding>;

/// What keeps a TLS client with this key from using the chain, the first three faults first: the leaf must be
/// first and an X.509 v3 client certificate, each certificate must be issued by the next (RFC 5246, 7.4.2)
/// and be valid now and for `days` more.
ChainFindings findings_of_chain(const Certificates& chain, const Botan::Public_Key& key, unsigned days = 0);

/// Whether the chain verifies with these roots, as a TLS client's, now. `name` is that of the roots.
ChainFindings findings_of_path(const Certificates& chain, const Certificates& roots, const std::string& name);

/// The index of the first certificate for the key; the chain's size when there is none: such a chain the
/// token itself refuses. Curves are compared by their numbers, however they are written.
std::size_t index_of_leaf(const Certificates& chain, const Botan::Public_Key& key);

/// "expired on 2026-11-25T09:30:00Z", "is not valid before ...", "will expire on ..." when it ends within
/// `days`; nothing when the certificate is valid.
std::optional<std::string> fault_of_dates(const Botan::X509_Certificate& certificate, unsigned days);

/// UTC, as in 2026-11-25T09:30:00Z (ISO 8601).
std::string iso_time(const Botan::X509_Time& time);

/// Until a time; below 0 when it is past.
double days_until(const Botan::X509_Time& time);

}  // namespace tools
