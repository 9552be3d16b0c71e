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

bool is_binary(SignatureForm form) { return form == SignatureForm::kRaw || form == SignatureForm::kDer; }

Answer answer_of(const Options& options, const Bytes& raw) {
  const Bytes signature = options.form == SignatureForm::kDer ? der_of(raw) : raw;
  const std::string text = options.form == SignatureForm::kBase64 ? Botan::base64_encode(signature)
                                                                  : Botan::hex_encode(signature, false);
  return {is_binary(options.form) ? text_of(signature) : text + "\n",
          json_of_signature(options.key, options.form, text)};
}

}  // namespace

Answer sign(const Options& options, Notes&) {
  if (is_binary(options.form) && !options.json && !options.output) require_no_terminal();
  const auto signature = Token().sign(options.key, bytes_of(read_input(options.file)));
  if (!signature) {
    throw Failure(Exit::kNotFound, "cannot sign with " + options.key + ": the token has no such key" +
                                       (options.key == "LYR" ? "; see cci provision" : ""));
  }
  return answer_of(options, *signature);
}

}  // namespace cci
