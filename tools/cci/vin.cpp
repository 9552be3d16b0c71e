// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/hex.h>

#include "commands.h"
#include "failure.h"
#include "json.h"
#include "token.h"

namespace cci {

Answer vin(const Options&, Notes&) {
  const std::string vin = Token().vin();
  if (vin.empty()) {
    throw Failure(Exit::kNotFound,
                  "cannot read the VIN: none is stored on the token; the device's maker stores it");
  }
  return {vin + "\n", json_of({{"vin", vin}, {"hex", Botan::hex_encode(bytes_of(vin), false)}})};
}

}  // namespace cci
