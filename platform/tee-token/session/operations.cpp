// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {
namespace {

bool is_key(const Attributes& object) {
  const CK_OBJECT_CLASS object_class = object.number(CKA_CLASS);
  return object_class == CKO_PUBLIC_KEY || object_class == CKO_PRIVATE_KEY;
}

void require_allows(const Attributes& key, CK_MECHANISM_TYPE mechanism) {
  if (!key.has(CKA_ALLOWED_MECHANISMS)) {
    return;
  }
  const Bytes& list = key.at(CKA_ALLOWED_MECHANISMS);
  for (std::size_t at = 0; at < list.size(); at += sizeof mechanism) {
    if (std::memcmp(list.data() + at, &mechanism, sizeof mechanism) == 0) {
      return;
    }
  }
  throw Error(CKR_MECHANISM_INVALID, "the mechanism is not among the key's CKA_ALLOWED_MECHANISMS");
}

}  // namespace

void Session::begin_search(Attributes wanted) {
  require_idle();
  m_operation = Search{std::move(wanted), 0};
}

std::vector<CK_OBJECT_HANDLE> Session::continue_search(std::size_t limit) {
  Search& search = active<Search>();
  std::vector<CK_OBJECT_HANDLE> found = m_token.search(search.wanted, search.last, limit);
  if (!found.empty()) {
    search.last = found.back();
  }
  return found;
}

Attributes Session::usable_key(CK_OBJECT_HANDLE key, CK_OBJECT_CLASS object_class, CK_ATTRIBUTE_TYPE use) {
  std::optional<Attributes> found = m_token.find(key);
  if (!found) {
    throw Error(CKR_KEY_HANDLE_INVALID, "it does not exist or is not visible");
  }
  if (!is_key(*found)) {
    throw Error(CKR_KEY_HANDLE_INVALID, "it is not a key");
  }
  if (found->number(CKA_CLASS) != object_class) {
    throw Error(CKR_KEY_TYPE_INCONSISTENT,
                std::string("the operation needs a ") + name_of_class(object_class));
  }
  if (!found->is_true(use)) {
    throw Error(CKR_KEY_FUNCTION_NOT_PERMITTED, std::string(rule_of(use).name) + " of the key is false");
  }
  unseal(key, *found, m_token.login());
  return *std::move(found);
}

void Session::begin_signature(const CK_MECHANISM* given, CK_OBJECT_HANDLE key) {
  require_idle();
  const Mechanism& mechanism = mechanism_of(given, CKF_SIGN);
  const Attributes attributes = usable_key(key, CKO_PRIVATE_KEY, CKA_SIGN);
  require_allows(attributes, mechanism.type);
  m_operation = Signature{&*m_token.login(), attributes.at(CKA_EC_PARAMS), attributes.at(CKA_VALUE),
                          Message(mechanism)};
}

void Session::begin_verification(const CK_MECHANISM* given, CK_OBJECT_HANDLE key) {
  require_idle();
  const Mechanism& mechanism = mechanism_of(given, CKF_VERIFY);
  const Attributes attributes = usable_key(key, CKO_PUBLIC_KEY, CKA_VERIFY);
  require_allows(attributes, mechanism.type);
  m_operation = Verification{EcPublicKey(attributes.at(CKA_EC_PARAMS), attributes.at(CKA_EC_POINT)),
                             Message(mechanism)};
}

void Session::Verification::require_match(ByteView digest, ByteView signature) const {
  const std::size_t length = 2 * key.curve().order_bytes;
  if (signature.size != length) {
    throw Error(CKR_SIGNATURE_LEN_RANGE,
                "a signature on this curve has " + std::to_string(length) + " bytes");
  }
  if (!key.verifies(digest, signature)) {
    throw Error(CKR_SIGNATURE_INVALID, "the signature does not match");
  }
}

void Session::begin_digest(const CK_MECHANISM* mechanism) {
  require_idle();
  m_operation = Digest{Message(mechanism_of(mechanism, CKF_DIGEST))};
}

void Session::refuse_to_digest(CK_OBJECT_HANDLE key) {
  const std::optional<Attributes> found = m_token.find(key);
  throw found && is_key(*found)
      ? Error(CKR_KEY_INDIGESTIBLE, "only secret keys can be digested, and the token has none")
      : Error(CKR_KEY_HANDLE_INVALID, "key " + std::to_string(key) + " does not exist or is not visible");
}

}  // namespace tee_token
