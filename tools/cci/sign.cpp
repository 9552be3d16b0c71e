// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/base64.h>
#include <botan/bigint.h>
#include <botan/der_enc.h>
#include <botan/hex.h>

#include "commands.h"
#include "json.h"

namespace cci {
namespace {

/// SEQUENCE of r and s, as TLS and most tools have it (RFC 3279, 2.2.3).
Bytes der_of(const Bytes& raw) {
  const std::size_t half = raw.size() / 2;
  Bytes der;
  Botan::DER_Encoder(der)
      .start_cons(Botan::SEQUENCE)
      .encode(Botan::BigInt::decode(raw.data(), half))
      .encode(Botan::BigInt::decode(raw.data() + half, half))
      .end_cons();
  return der;
}

Answer answer_of(const Options& options, const Bytes& raw) {
  switch (options.form) {
    case SignatureForm::kDer: {
      const Bytes der = der_of(raw);
      return {text_of(der), json_of_signature(options.key, options.form, Botan::hex_encode(der, false))};
    }
    case SignatureForm::kBase64: {
      const std::string text = Botan::base64_encode(raw);
      return {text + "\n", json_of_signature(options.key, options.form, text)};
    }
    default: {
      const std::string text = Botan::hex_encode(raw, false);
      return {options.form == SignatureForm::kRaw ? text_of(raw) : text + "\n",
              json_of_signature(options.key, options.form, text)};
    }
  }
}

}  // namespace

Answer sign(const Options& options, Notes&) {
  const bool binary = options.form == SignatureForm::kRaw || options.form == SignatureForm::kDer;
  if (binary && !options.json && !options.output) require_no_terminal();
  const auto signature = Token().sign(options.key, bytes_of(read_input(options.file)));
  if (!signature) {
    throw Failure(Exit::kNotFound, "cannot sign with " + options.key + ": the token has no such key" +
                                       (options.key == "LYR" ? "; see cci provision" : ""));
  }
  return answer_of(options, *signature);
}

}  // namespace cci
