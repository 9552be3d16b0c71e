// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecdsa.h>
#include <botan/pk_ops.h>

#include <memory>
#include <string>

namespace Botan {
namespace PKCS11 {

// Both refer to the key. An operation that was begun and not completed is ended on the token, because a
// session has room for no other.

std::unique_ptr<PK_Ops::Signature> make_ecdsa_signature(const PKCS11_ECDSA_PrivateKey& key,
                                                        const std::string& emsa);

std::unique_ptr<PK_Ops::Verification> make_ecdsa_verification(const PKCS11_ECDSA_PublicKey& key,
                                                              const std::string& emsa);

}  // namespace PKCS11
}  // namespace Botan
