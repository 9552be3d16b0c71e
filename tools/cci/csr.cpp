// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/pem.h>

#include "commands.h"
#include "json.h"
#include "output.h"
#include "token.h"

namespace cci {

Answer csr(const Options& options, Notes&) {
  const bool binary = !options.pem && !options.json;
  if (binary && !options.output) require_no_terminal();
  const Bytes der = Token().request(options.common_name);
  const std::string pem = Botan::PEM_Code::encode(der, "CERTIFICATE REQUEST");
  return {options.pem ? pem : text_of(der),
          json_of({{"common_name", options.common_name}, {"request", pem}})};
}

}  // namespace cci
