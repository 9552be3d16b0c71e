// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/openssl_handles.h"

#include <openssl/err.h>

#include "base/error.h"

namespace tee_token {

OpensslErrors::OpensslErrors() {
  ERR_set_mark();
  ERR_new();
  ERR_set_error(ERR_LIB_USER, ERR_R_OPERATION_FAIL, nullptr);
}

OpensslErrors::~OpensslErrors() { ERR_pop_to_mark(); }

void require_openssl(bool succeeded, const char* step) {
  if (succeeded) {
    return;
  }
  char text[256] = "no reason given";
  const unsigned long code = ERR_peek_last_error();
  if (code != 0 && ERR_GET_LIB(code) != ERR_LIB_USER) {
    ERR_error_string_n(code, text, sizeof text);
  }
  throw Failure(CKR_FUNCTION_FAILED, std::string(step) + " failed in libcrypto: " + text);
}

}  // namespace tee_token
