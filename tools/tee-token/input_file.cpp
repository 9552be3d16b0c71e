// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "input_file.h"

#include <botan/auto_rng.h>
#include <botan/data_src.h>
#include <botan/ecc_key.h>
#include <botan/pem.h>
#include <botan/pkcs8.h>
#include <openssl/decoder.h>
#include <openssl/err.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "crypto/openssl_handles.h"
#include "shared/token_access.h"

namespace tee_token_admin {
namespace {

using tee_token::Owned;
using Decoder = Owned<OSSL_DECODER_CTX, OSSL_DECODER_CTX_free>;
using File = Owned<std::FILE, std::fclose>;
using Pkcs8 = Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

File open_file(const std::string& path) {
  File file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    throw UsageError("cannot open " + path + ": " + std::strerror(errno));
  }
  return file;
}

/// Takes the bytes of a source as std::fgetc gives them, up to the first that is no blank.
template <typename Next>
bool only_blanks_follow(const Next& next) {
  int byte = 0;
  do {
    byte = next();
  } while (byte != EOF && std::isspace(byte) != 0);
  return byte == EOF;
}

/// Goes on behind the parameters that `openssl ecparam -genkey` writes before the key.
void skip_parameters(std::FILE* file) {
  char line[100];
  const auto next_begins = [&](const char* text) {
    return std::fgets(line, sizeof line, file) == nullptr || std::strncmp(line, text, std::strlen(text)) == 0;
  };
  if (!next_begins("-----BEGIN EC PARAMETERS-----")) {
    std::rewind(file);
    return;
  }
  while (!next_begins("-----END EC PARAMETERS-----")) {
  }
}

// libcrypto reads every form that tools write; Botan reads PKCS#8 alone.
Botan::secure_vector<std::uint8_t> pkcs8_of(const std::string& path) {
  const File file = open_file(path);
  skip_parameters(file.get());
  EVP_PKEY* key = nullptr;
  const Decoder decoder(
      OSSL_DECODER_CTX_new_for_pkey(&key, nullptr, nullptr, "EC", EVP_PKEY_KEYPAIR, nullptr, nullptr));
  // An encrypted key must not stop at a prompt.
  OSSL_DECODER_CTX_set_pem_password_cb(
      decoder.get(), [](char*, int, int, void*) { return -1; }, nullptr);
  const bool read = decoder != nullptr && OSSL_DECODER_from_fp(decoder.get(), file.get()) == 1;
  ERR_clear_error();
  const tee_token::PKey owned(key);
  const Pkcs8 info(read ? EVP_PKEY2PKCS8(key) : nullptr);
  if (info == nullptr) {
    throw UsageError(path + " holds no unencrypted EC private key (PEM or DER, PKCS#8 or SEC 1)");
  }
  if (!only_blanks_follow([&] { return std::fgetc(file.get()); })) {
    throw UsageError(path + " goes on behind its first key; give a file with that key alone");
  }
  Botan::secure_vector<std::uint8_t> der(
      static_cast<std::size_t>(i2d_PKCS8_PRIV_KEY_INFO(info.get(), nullptr)));
  std::uint8_t* end = der.data();
  i2d_PKCS8_PRIV_KEY_INFO(info.get(), &end);
  return der;
}

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
    ++count;
  }
  return count;
}

std::string line_of(const std::string& text, std::size_t at) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(at);
  return std::to_string(1 + std::count(text.begin(), end, '\n'));
}

/// The certificate of the next PEM block. Throws Botan::Exception, also when the block holds more than it.
Botan::X509_Certificate certificate_of_pem(Botan::DataSource& source) {
  std::string label;
  const std::vector<std::uint8_t> der = Botan::unlock(Botan::PEM_Code::decode(source, label));
  Botan::X509_Certificate certificate(der);
  if (certificate.BER_encode() != der) {
    throw Botan::Decoding_Error("the block holds more than a certificate");
  }
  return certificate;
}

/// One certificate of a PEM text, from `start` on, which is moved behind it. Throws Botan::Exception.
Botan::X509_Certificate next_certificate(const std::string& text, std::size_t& start) {
  static const std::string kBegin = "-----BEGIN CERTIFICATE-----", kEnd = "-----END CERTIFICATE-----";
  const std::size_t end = text.find(kEnd, start);
  if (text.compare(start, kBegin.size(), kBegin) != 0 || end == std::string::npos) {
    throw Botan::Decoding_Error("not a PEM block of a certificate");
  }
  const std::size_t length = end + kEnd.size() - start;
  const auto* const block = reinterpret_cast<const std::uint8_t*>(text.data()) + start;
  start += length;
  Botan::DataSource_Memory source(block, length);
  return certificate_of_pem(source);
}

}  // namespace

std::string read_file(const std::string& path) {
  const File file = open_file(path);
  std::string text;
  char part[4096];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, file.get())) > 0;) {
    text.append(part, length);
  }
  if (std::ferror(file.get()) != 0) {
    throw UsageError("cannot read " + path + ": " + std::strerror(errno));
  }
  return text;
}

KeyParts read_key(const std::string& path) {
  const Botan::secure_vector<std::uint8_t> der = pkcs8_of(path);
  Botan::DataSource_Memory source(der);
  const std::unique_ptr<Botan::Private_Key> key = Botan::PKCS8::load_key(source);
  const auto* const ec_key = dynamic_cast<const Botan::EC_PrivateKey*>(key.get());
  if (ec_key == nullptr || ec_key->domain().get_curve_oid().empty()) {
    throw UsageError(path + " holds a key on no named curve; secp256r1 is what the platform uses");
  }
  return {ec_key->domain().DER_encode(Botan::EC_DOMPAR_ENC_OID), ec_key->private_value()};
}

Botan::X509_Certificate read_certificate(const std::string& path) {
  const std::string content = read_file(path);
  const bool is_pem = content.find("-----BEGIN ") != std::string::npos;
  Botan::DataSource_Memory source(content);
  try {
    Botan::X509_Certificate certificate =
        is_pem ? certificate_of_pem(source) : Botan::X509_Certificate(source);
    std::uint8_t byte = 0;
    if (!only_blanks_follow([&] { return source.read_byte(byte) == 1 ? byte : EOF; })) {
      throw UsageError(path + " holds more than one certificate; import each from a file of its own");
    }
    return certificate;
  } catch (const Botan::Exception&) {
    throw UsageError(path + " holds no X.509 certificate (PEM or DER), or more in its block");
  }
}

std::vector<Botan::X509_Certificate> read_certificates(const std::string& path) {
  static const char kBlanks[] = " \t\r\n";
  const std::string text = read_file(path);
  std::vector<Botan::X509_Certificate> certificates;
  for (std::size_t at = text.find_first_not_of(kBlanks); at != std::string::npos;
       at = text.find_first_not_of(kBlanks, at)) {
    const std::size_t start = at;
    try {
      certificates.push_back(next_certificate(text, at));
    } catch (const Botan::Exception&) {
      throw UsageError(
          path + ", line " + line_of(text, start) +
          ": this is not one X.509 certificate in PEM; delete everything but the PEM blocks of roots");
    }
  }
  if (certificates.empty()) {
    throw UsageError(path + " holds no X.509 certificate (PEM); leave it out for an empty group");
  }
  return certificates;
}

Botan::PKCS10_Request read_request(const std::string& path) {
  const std::string content = read_file(path);
  Botan::DataSource_Memory source(content);
  try {
    Botan::PKCS10_Request request(source);
    const std::unique_ptr<Botan::Public_Key> key(request.subject_public_key());
    if (request.check_signature(*key)) {
      return request;
    }
  } catch (const Botan::Exception&) {
    // said below
  }
  throw UsageError(path + " holds no certificate request (PEM or DER) with a right signature");
}

ReadChain read_chain(const std::string& path) {
  const std::string content = read_file(path);
  Botan::DataSource_Memory source(content);
  ReadChain read;
  // It ends, as each attempt, successful or not, consumes at least one byte.
  while (!source.end_of_data()) {
    try {
      read.certificates.emplace_back(source);
    } catch (const Botan::Exception&) {
      read.undecoded += source.end_of_data() ? 0 : 1;
    }
  }
  // A part that is cut off reaches to the end.
  const std::size_t begun = count_of(content, "-----BEGIN ");
  read.undecoded = std::max(read.undecoded, begun - std::min(begun, read.certificates.size()));
  return read;
}

}  // namespace tee_token_admin
