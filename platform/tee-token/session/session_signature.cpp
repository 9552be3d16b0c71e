// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {

namespace {

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

/// It was right when it was stored: what is wrong with it now is damage.
template <typename Key>
Key stored_key(CK_OBJECT_HANDLE key, const Attributes& attributes, CK_ATTRIBUTE_TYPE content) {
  try {
    return Key(attributes.at(CKA_EC_PARAMS), attributes.at(content));
  } catch (const Error&) {
    throw DamagedObject(key);
  }
}

}  // namespace

Attributes Session::usable_key(CK_OBJECT_HANDLE key, CK_OBJECT_CLASS object_class, CK_ATTRIBUTE_TYPE use) {
  Attributes attributes = view([&] {
    ObjectSpace& objects = m_token.objects();
    std::optional<Attributes> seen = objects.seen(key);
    if (!seen) {
      throw Error(CKR_KEY_HANDLE_INVALID, "there is no key " + std::to_string(key) + " to be seen");
    }
    objects.store_of(key).unseal(key, *seen);
    return *std::move(seen);
  });
  const CK_OBJECT_CLASS found = attributes.number(CKA_CLASS);
  if (found != CKO_PUBLIC_KEY && found != CKO_PRIVATE_KEY) {
    throw Error(CKR_KEY_HANDLE_INVALID, "object " + std::to_string(key) + " is no key");
  }
  if (found != object_class) {
    throw Error(CKR_KEY_TYPE_INCONSISTENT, "this is not a key for this operation");
  }
  if (!attributes.is_true(use)) {
    throw Error(CKR_KEY_FUNCTION_NOT_PERMITTED,
                std::string("the key is not for this: ") + rule_of(use).name + " is false");
  }
  return attributes;
}

void Session::begin_signature(const CK_MECHANISM* given, CK_OBJECT_HANDLE key) {
  require_idle();
  const Mechanism& mechanism = mechanism_of(given, CKF_SIGN);
  const Attributes attributes = usable_key(key, CKO_PRIVATE_KEY, CKA_SIGN);
  require_allows(attributes, mechanism.type);
  m_operation = Signature{stored_key<EcPrivateKey>(key, attributes, CKA_VALUE), Message(mechanism)};
}

void Session::sign(ByteView data, OutputBuffer signature) {
  const Signature& operation = active<Signature>();
  if (signature.takes(2 * operation.key.curve().order_bytes)) {
    signature.put(operation.key.sign(operation.message.digest_of(data)));
    end_operation();
  }
}

void Session::add_to_signature(ByteView part) { active<Signature>().message.add(part); }

void Session::end_signature(OutputBuffer signature) {
  Signature& operation = active<Signature>();
  if (signature.takes(2 * operation.key.curve().order_bytes)) {
    signature.put(operation.key.sign(operation.message.digest()));
    end_operation();
  }
}

void Session::begin_verification(const CK_MECHANISM* given, CK_OBJECT_HANDLE key) {
  require_idle();
  const Mechanism& mechanism = mechanism_of(given, CKF_VERIFY);
  const Attributes attributes = usable_key(key, CKO_PUBLIC_KEY, CKA_VERIFY);
  require_allows(attributes, mechanism.type);
  m_operation = Verification{stored_key<EcPublicKey>(key, attributes, CKA_EC_POINT), Message(mechanism)};
}

void Session::verify(ByteView data, ByteView signature) {
  require_verifies(active<Verification>().message.digest_of(data), signature);
}

void Session::add_to_verification(ByteView part) { active<Verification>().message.add(part); }

void Session::end_verification(ByteView signature) {
  require_verifies(active<Verification>().message.digest(), signature);
}

void Session::require_verifies(ByteView digest, ByteView signature) {
  const EcPublicKey& key = active<Verification>().key;
  const std::size_t length = 2 * key.curve().order_bytes;
  if (signature.size != length) {
    throw Error(CKR_SIGNATURE_LEN_RANGE,
                "a signature on this curve has " + std::to_string(length) + " bytes");
  }
  if (!key.verifies(digest, signature)) {
    throw Error(CKR_SIGNATURE_INVALID, "the signature is not this key's");
  }
  end_operation();
}

}  // namespace tee_token
