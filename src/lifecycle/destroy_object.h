// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/exceptn.h>
#include <botan/p11_types.h>

#include <string>

#include "api/logging.h"
#include "ozk/tee/client_cert_initializer_api.h"

namespace ozk {
namespace tee {

/// Runs a deletion. A Botan::Exception is logged, as `failure` and what(), and gives CRYPTO_OP_ERROR.
template <typename Deletion>
ResultCode guardedDeletion(const ara::log::Logger& logger, const std::string& failure, Deletion deletion) {
  try {
    deletion();
    return ResultCode::OK;
  } catch (const Botan::Exception& error) {
    logError(logger, failure + error.what());
    return ResultCode::CRYPTO_OP_ERROR;
  }
}

/// Opens the object as `Wrapper`, which fails for an object of another kind, and destroys it on the token.
template <typename Wrapper>
ResultCode destroyObject(const ara::log::Logger& logger, Botan::PKCS11::Session& session,
                         Botan::PKCS11::ObjectHandle handle, const std::string& failure) {
  return guardedDeletion(logger, failure, [&] { Wrapper(session, handle).destroy(); });
}

}  // namespace tee
}  // namespace ozk
