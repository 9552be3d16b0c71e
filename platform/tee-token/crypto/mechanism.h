// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <openssl/evp.h>

#include "base/bytes.h"
#include "base/cryptoki.h"

namespace tee_token {

/// A mechanism of the token (PKCS #11 2.40 current mechanisms, 2.3 and 2.22 to 2.24).
struct Mechanism {
  CK_MECHANISM_TYPE type;
  CK_FLAGS flags;           // CKF_SIGN, CKF_VERIFY, CKF_GENERATE_KEY_PAIR, CKF_DIGEST
  const EVP_MD* (*hash)();  // what it does to the data first; null: nothing
};

struct Mechanisms {
  const Mechanism* begin() const;
  const Mechanism* end() const;
};

/// The mechanism for `type`. Throws CKR_MECHANISM_INVALID when the token has none with all of `flags`.
const Mechanism& mechanism_of(CK_MECHANISM_TYPE type, CK_FLAGS flags = 0);

/// As above, for a caller's structure; its parameter must be empty (CKR_MECHANISM_PARAM_INVALID).
const Mechanism& mechanism_of(const CK_MECHANISM* given, CK_FLAGS flags);

/// What C_GetMechanismInfo tells of it: key sizes in bits, 0 without a key.
CK_MECHANISM_INFO info_of(const Mechanism& mechanism);

}  // namespace tee_token
