// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain.h"

#include <botan/ber_dec.h>
#include <botan/data_src.h>
#include <botan/exceptn.h>
#include <botan/pem.h>

#include <algorithm>
#include <utility>

#include "failure.h"
#include "shared/shown_text.h"

namespace cci {
namespace {

using shown_text::counted;

std::size_t blocks_of(const std::string& text) {
  static const std::string kBegin = "-----BEGIN ";
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(kBegin, at)) != std::string::npos; at += kBegin.size()) ++count;
  return count;
}

// That many are enough to refuse an answer; each further one costs an attempt.
constexpr std::size_t kMostWrongParts = 16;

struct Read {
  Certificates certificates;
  std::size_t parts = 0;
  bool is_given_up = false;  // after too many wrong parts
};

Read read(const std::string& text) {
  Botan::DataSource_Memory source(text);
  Read result;
  // It ends, as each attempt, successful or not, consumes at least one byte.
  while (!source.end_of_data() && !result.is_given_up) {
    try {
      result.certificates.emplace_back(source);
    } catch (const Botan::Exception&) {
      if (!source.end_of_data()) ++result.parts;
      result.is_given_up = result.parts > kMostWrongParts;
    }
  }
  // A part that is cut off reaches to the end.
  result.parts = std::max(result.parts + result.certificates.size(), blocks_of(text));
  return result;
}

/// What is in the SubjectPublicKeyInfo: the part that a certificate gives out.
Bytes key_info_of(const std::string& pem) {
  std::string label;
  Botan::DataSource_Memory source(pem);
  const Bytes der = Botan::unlock(Botan::PEM_Code::decode(source, label));
  Bytes info;
  Botan::BER_Decoder(der).start_cons(Botan::SEQUENCE).raw_bytes(info).end_cons();
  return info;
}

}  // namespace

Certificates certificates_of(const std::string& pem) {
  if (pem.empty()) return {};
  return read_chain({"what the token gave", pem, Exit::kTokenFailed, Exit::kTokenFailed});
}

Certificates read_chain(const ChainText& chain) {
  static const std::string kExpected = "; expected are whole certificates in PEM and nothing else";
  Read found = read(chain.text);
  if (found.is_given_up) {
    throw Failure(chain.unreadable, chain.name + " has more than " + counted(kMostWrongParts, "part") +
                                        " that are no certificates" + kExpected);
  }
  if (found.certificates.empty()) {
    throw Failure(chain.unreadable, chain.name +
                                        (chain.text.empty() ? " is empty" : " holds no certificate") +
                                        "; expected are certificates in PEM, the client's first");
  }
  if (found.parts > found.certificates.size()) {
    throw Failure(chain.unreadable, chain.name + " has " + counted(found.parts, "part") + ", of which " +
                                        counted(found.certificates.size(), "certificate") + " can be read" +
                                        kExpected);
  }
  return std::move(found.certificates);
}

void require_leaf_of(const ChainText& chain, const Certificates& certificates, const std::string& key) {
  const Bytes wanted = key_info_of(key);
  for (std::size_t i = 0; i < certificates.size(); ++i) {
    if (certificates[i].subject_public_key_bits() != wanted) continue;
    if (i == 0) return;
    throw Failure(chain.unfit, chain.name + " has the client's certificate in place " +
                                   std::to_string(i + 1) + "; it has to be the first");
  }
  throw Failure(chain.unfit,
                chain.name + " has no certificate for the key pair that waits (cci csr writes its request)");
}

}  // namespace cci
