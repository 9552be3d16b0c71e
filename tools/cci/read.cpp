// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// The commands that read what is on the token.

#include <botan/hex.h>

#include "commands.h"
#include "json.h"

namespace cci {

Answer cert(const Options& options, Notes&) {
  const std::string pem = Token().certificates(options.key);
  if (pem.empty()) {
    throw Failure(Exit::kNotFound, "cannot read the certificates of " + options.key + ": the token has none" +
                                       (options.key == "LYR" ? "; see cci status" : ""));
  }
  return {pem, json_of_certificates(certificates_of(pem))};
}

Answer public_key(const Options& options, Notes&) {
  const auto key = Token().public_key(options.key);
  if (key) return {*key, json_of_key(*key)};
  throw Failure(Exit::kNotFound,
                "cannot read the public key of " + options.key +
                    (options.key == "LYR" ? ": nothing is installed; see cci provision"
                                          : ": no key pair is pending; run: cci generate-key"));
}

Answer roots(const Options& options, Notes& notes) {
  const std::string pem = Token().roots(options.group);
  if (pem.empty()) notes.say("the trust store group " + options.group + " has no roots");
  return {pem, json_of_certificates(certificates_of(pem))};
}

Answer vin(const Options&, Notes&) {
  const std::string vin = Token().vin();
  if (vin.empty()) {
    throw Failure(Exit::kNotFound,
                  "cannot read the VIN: none is stored on the token; the device's maker stores it");
  }
  return {vin + "\n", json_of({{"vin", vin}, {"hex", Botan::hex_encode(bytes_of(vin), false)}})};
}

}  // namespace cci
