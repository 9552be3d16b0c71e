// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {

void Session::begin_digest(const CK_MECHANISM* mechanism) {
  require_idle();
  m_operation = Digest{Message(mechanism_of(mechanism, CKF_DIGEST))};
}

void Session::digest(ByteView data, OutputBuffer digest) {
  const Message& message = active<Digest>().message;
  if (digest.takes(message.digest_length())) {
    digest.put(message.digest_of(data));
    end_operation();
  }
}

void Session::add_to_digest(ByteView part) { active<Digest>().message.add(part); }

void Session::add_key_to_digest(CK_OBJECT_HANDLE key) {
  const bool is_key = view([&] {
    const std::optional<Attributes> seen = m_token.objects().seen(key);
    return seen && (seen->number(CKA_CLASS) == CKO_PUBLIC_KEY || seen->number(CKA_CLASS) == CKO_PRIVATE_KEY);
  });
  throw is_key ? Error(CKR_KEY_INDIGESTIBLE, "only secret keys can be digested, and there are none here")
               : Error(CKR_KEY_HANDLE_INVALID, "there is no key " + std::to_string(key) + " to be seen");
}

void Session::end_digest(OutputBuffer digest) {
  Message& message = active<Digest>().message;
  if (digest.takes(message.digest_length())) {
    digest.put(message.digest());
    end_operation();
  }
}

}  // namespace tee_token
