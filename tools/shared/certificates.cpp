// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/certificates.h"

#include <botan/ber_dec.h>
#include <botan/data_src.h>
#include <botan/pem.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "shared/shown_text.h"
#include "shared/whole_file.h"

namespace tools {
namespace {

constexpr char kSequence = 0x30;  // the first byte of a certificate
constexpr std::size_t kMostUnreadable = 16;
// Botan's time for one encoding can grow with the square of its length, when it has indefinite lengths
// inside.
constexpr std::size_t kLongestCertificate = 16384;

/// Skips an element of indefinite length, whose end Botan searches in all that it is given, again and again.
void skip_indefinite(Botan::DataSource_Memory& source, const std::string& bytes) {
  Botan::DataSource_Memory part(bytes);
  try {
    Botan::BER_Decoder(part).get_next_object();
  } catch (const Botan::Exception&) {  // the end was not found: Botan continues behind the length
  }
  source.discard_next(part.get_bytes_read());
}

/// The encoding of the next certificate, or of what is in its place. Consumes what an installation does, at
/// least one byte.
std::vector<std::uint8_t> next_der(Botan::DataSource_Memory& source, const std::string& text) {
  const std::size_t begin = source.get_bytes_read();
  if (text[begin] != kSequence || Botan::PEM_Code::matches(source)) {
    std::string label;
    const auto der = Botan::PEM_Code::decode(source, label);
    const bool fits = label == "CERTIFICATE" || label == "X509 CERTIFICATE";
    return fits ? Botan::unlock(der) : std::vector<std::uint8_t>();
  }
  if (text[begin + 1] == '\x80') {
    skip_indefinite(source, text.substr(begin, kLongestCertificate));
  } else {
    Botan::BER_Decoder(source).get_next_object();
  }
  return {text.data() + begin, text.data() + source.get_bytes_read()};
}

Botan::X509_Certificate certificate_of(const std::vector<std::uint8_t>& der) {
  if (der.size() > kLongestCertificate) {
    throw Botan::Decoding_Error("too long for a certificate");
  }
  Botan::X509_Certificate certificate;
  Botan::BER_Decoder decoder(der);
  certificate.decode_from(decoder);
  return certificate;
}

}  // namespace

FoundCertificates find_certificates(const std::string& text) {
  Botan::DataSource_Memory source(text);
  FoundCertificates found;
  while (!source.end_of_data() && found.unreadable <= kMostUnreadable) {
    const bool is_text = text[source.get_bytes_read()] != kSequence;
    try {
      found.certificates.push_back(certificate_of(next_der(source, text)));
    } catch (const Botan::Exception&) {
      found.unreadable += is_text && source.end_of_data() ? 0 : 1;
    }
  }
  // An attempt at a truncated block, and one at the text behind the last block, both read to the end.
  std::size_t missed = 0;
  for (std::size_t at = 0; (at = text.find("-----BEGIN ", at)) != std::string::npos; ++at) {
    ++missed;
  }
  missed -= std::min(missed, found.certificates.size());
  found.unreadable = std::max(found.unreadable, missed);
  return found;
}

Certificates read_certificates(const std::string& path) {
  const std::string text = read_file(path);
  FoundCertificates found = find_certificates(text);
  if (found.unreadable != 0) {
    throw std::runtime_error("file '" + path + "': " + shown_text::counted(found.unreadable, "part") +
                             " cannot be read as a certificate");
  }
  if (found.certificates.empty()) {
    throw std::runtime_error("file '" + path +
                             (text.empty() ? "' is empty" : "' holds no certificate (PEM or DER)"));
  }
  return std::move(found.certificates);
}

}  // namespace tools
