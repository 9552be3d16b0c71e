// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "openssl.h"

#include <openssl/err.h>

#include <stdexcept>

namespace wrong_chains {

void require(bool succeeded, const std::string& step) {
  if (succeeded) {
    return;
  }
  const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
  throw std::runtime_error(step + " failed: " + (reason != nullptr ? reason : "libcrypto gives no reason"));
}

}  // namespace wrong_chains
