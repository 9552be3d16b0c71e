// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/certificates.h"

#include <botan/data_src.h>
#include <botan/exceptn.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "shared/shown_text.h"
#include "shared/whole_file.h"

namespace tools {
namespace {

constexpr std::size_t kMostUnreadable = 16;

std::size_t count_blocks(const std::string& text) {
  static const std::string kBegin = "-----BEGIN ";
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(kBegin, at)) != std::string::npos; at += kBegin.size()) {
    ++count;
  }
  return count;
}

}  // namespace

FoundCertificates find_certificates(const std::string& text) {
  Botan::DataSource_Memory source(text);
  FoundCertificates found;
  // Each attempt, successful or not, consumes at least one byte.
  while (!source.end_of_data() && found.unreadable <= kMostUnreadable) {
    try {
      found.certificates.emplace_back(source);
    } catch (const Botan::Exception&) {
      found.unreadable += source.end_of_data() ? 0 : 1;
    }
  }
  // An attempt at a truncated block, and one at the text behind the last block, both read to the end.
  const std::size_t blocks = count_blocks(text);
  found.unreadable = std::max(found.unreadable, blocks - std::min(blocks, found.certificates.size()));
  return found;
}

Certificates read_certificates(const std::string& path) {
  FoundCertificates found = find_certificates(read_file(path));
  if (found.unreadable != 0) {
    throw std::runtime_error(path + ": " + shown_text::counted(found.unreadable, "part") +
                             " cannot be read as a certificate");
  }
  if (found.certificates.empty()) {
    throw std::runtime_error(path + " holds no certificate (PEM or DER)");
  }
  return std::move(found.certificates);
}

}  // namespace tools
