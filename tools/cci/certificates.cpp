// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "chain.h"
#include "commands.h"
#include "failure.h"
#include "json.h"
#include "token.h"

namespace cci {

Answer cert(const Options& options, Notes&) {
  const std::string pem = Token().certificates(options.key);
  if (pem.empty()) {
    throw Failure(Exit::kNotFound, "cannot read the certificates of " + options.key + ": the token has none" +
                                       (options.key == "LYR" ? "; cci status shows what it has" : ""));
  }
  return {pem, json_of_certificates(certificates_of(pem))};
}

Answer roots(const Options& options, Notes& notes) {
  const std::string pem = Token().roots(options.group);
  if (pem.empty()) notes.say("the trust store group " + options.group + " has no roots");
  return {pem, json_of_certificates(certificates_of(pem))};
}

}  // namespace cci
