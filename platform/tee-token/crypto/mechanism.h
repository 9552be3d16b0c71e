// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/bytes.h"
#include "crypto/openssl_handles.h"
#include "tee_token/vendor_interface.h"

namespace tee_token {

/// A mechanism of the token (PKCS #11 2.40 current mechanisms, 2.3 and 2.22 to 2.24).
struct Mechanism {
  CK_MECHANISM_TYPE type;
  CK_FLAGS flags;         // CKF_SIGN, CKF_VERIFY, CKF_GENERATE_KEY_PAIR, CKF_DIGEST
  Hash Libcrypto::*hash;  // the hash of the data; null when the data is not hashed
};

struct Mechanisms {
  const Mechanism* begin() const;
  const Mechanism* end() const;
};

/// The mechanism for `type`. Throws CKR_MECHANISM_INVALID when the token has none with all of `flags`.
const Mechanism& mechanism_of(CK_MECHANISM_TYPE type, CK_FLAGS flags = 0);

/// The same for a caller's structure. Throws CKR_MECHANISM_PARAM_INVALID when it has a parameter.
const Mechanism& mechanism_of(const CK_MECHANISM* given, CK_FLAGS flags);

/// The answer of C_GetMechanismInfo: key sizes in bits, 0 without a key.
CK_MECHANISM_INFO info_of(const Mechanism& mechanism);

/// The data of one signature, verification or digest: hashed or taken as it is, as the mechanism says.
class Message {
 public:
  explicit Message(const Mechanism& mechanism)
      : m_hash(mechanism.hash == nullptr ? nullptr : (Libcrypto::get().*mechanism.hash).get()) {}

  /// The digest (the input of ECDSA) of `data`, which is the whole message. Throws CKR_DATA_LEN_RANGE when a
  /// mechanism without a hash gets no data, and CKR_OPERATION_ACTIVE when parts were added before.
  Bytes digest_of(ByteView data) const;

  /// Length of the digest in bytes; the mechanism must have a hash.
  std::size_t digest_length() const { return static_cast<std::size_t>(EVP_MD_get_size(m_hash)); }

  /// Adds a part. Throws CKR_FUNCTION_NOT_SUPPORTED when the mechanism takes the message in one part only.
  void add(ByteView part);
  /// The digest of all parts.
  Bytes digest();

 private:
  const EVP_MD* m_hash;
  DigestContext m_parts;
};

}  // namespace tee_token
