// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/ecdsa.h>
#include <botan/p11_ecdsa.h>

#include <vector>

#include "scratch_area.h"

namespace tee_token_admin {

using ScratchPair = std::pair<Botan::PKCS11::PKCS11_ECDSA_PublicKey, Botan::PKCS11::PKCS11_ECDSA_PrivateKey>;

/// A key pair from the library's templates. With it, the private key can make requests.
ScratchPair make_pair(Trial& trial, TokenSession& token, const IdentityMarks& marks);

/// The library's signature: r||s of the message's SHA-256, made by the token.
std::vector<std::uint8_t> sign(const Botan::PKCS11::PKCS11_ECDSA_PrivateKey& key,
                               const std::vector<std::uint8_t>& message);

/// Whether it is one, of 64 bytes; computed here, not by the token.
bool verifies(const Botan::EC_PublicKey& key, const std::vector<std::uint8_t>& message,
              const std::vector<std::uint8_t>& signature);

/// Ends the trial as wrong unless each attribute of the template reads as it was given.
void require_attributes(const Trial& trial, const Botan::PKCS11::Object& object,
                        const Botan::PKCS11::AttributeContainer& given);

}  // namespace tee_token_admin
