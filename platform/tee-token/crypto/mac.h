// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "crypto/openssl_handles.h"
#include "crypto/sealing.h"

namespace tee_token {

/// HMAC-SHA256 of a list of numbers and byte strings. Each string is taken with its length, so that no other
/// list of the same kind of record gives the same bytes.
class Mac {
 public:
  explicit Mac(const Bytes& key);

  Mac& add(std::uint64_t number);
  Mac& add(const Bytes& bytes);

  /// What is stored beside the record. Ends the list.
  Bytes result();
  /// Whether `stored` is that.
  bool is(const Bytes& stored);

 private:
  void update(ByteView bytes);

  MacContext m_context;
};

}  // namespace tee_token
