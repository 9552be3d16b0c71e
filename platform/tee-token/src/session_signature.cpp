#include "session.h"

namespace tee_token {

Attributes Session::usable_key(CK_OBJECT_HANDLE key, CK_OBJECT_CLASS object_class, CK_ATTRIBUTE_TYPE use) {
  Attributes attributes = view([&] {
    ObjectSpace& objects = m_token.objects();
    if (!objects.is_visible(key)) {
      throw Error(CKR_KEY_HANDLE_INVALID, "there is no key " + std::to_string(key) + " to be seen");
    }
    return objects.store_of(key).load(key);
  });
  if (attributes.number(CKA_CLASS) != object_class) {
    throw Error(CKR_KEY_TYPE_INCONSISTENT, "this is not a key for this operation");
  }
  if (!attributes.is_true(use)) {
    throw Error(CKR_KEY_FUNCTION_NOT_PERMITTED,
                std::string("the key is not for this: ") + rule_of(use).name + " is false");
  }
  return attributes;
}

void Session::begin_signature(const Mechanism& mechanism, CK_OBJECT_HANDLE key) {
  require_idle();
  const Attributes attributes = usable_key(key, CKO_PRIVATE_KEY, CKA_SIGN);
  m_operation = Signature{{attributes.at(CKA_EC_PARAMS), attributes.at(CKA_VALUE)}, Message(mechanism)};
}

void Session::sign(ByteView data, OutputBuffer signature) {
  if (signature.takes(2 * active<Signature>().key.curve().order_bytes)) {
    const Signature operation = take<Signature>();
    signature.put(operation.key.sign(operation.message.digest_of(data)));
  }
}

void Session::add_to_signature(ByteView part) {
  Signature operation = take<Signature>();
  operation.message.add(part);
  m_operation = std::move(operation);
}

void Session::end_signature(OutputBuffer signature) {
  if (signature.takes(2 * active<Signature>().key.curve().order_bytes)) {
    Signature operation = take<Signature>();
    signature.put(operation.key.sign(operation.message.digest()));
  }
}

void Session::begin_verification(const Mechanism& mechanism, CK_OBJECT_HANDLE key) {
  require_idle();
  const Attributes attributes = usable_key(key, CKO_PUBLIC_KEY, CKA_VERIFY);
  m_operation = Verification{{attributes.at(CKA_EC_PARAMS), attributes.at(CKA_EC_POINT)}, Message(mechanism)};
}

void Session::verify(ByteView data, ByteView signature) {
  const Verification operation = take<Verification>();
  require_verifies(operation, operation.message.digest_of(data), signature);
}

void Session::add_to_verification(ByteView part) {
  Verification operation = take<Verification>();
  operation.message.add(part);
  m_operation = std::move(operation);
}

void Session::end_verification(ByteView signature) {
  Verification operation = take<Verification>();
  require_verifies(operation, operation.message.digest(), signature);
}

void Session::require_verifies(const Verification& operation, ByteView digest, ByteView signature) {
  if (signature.size != 2 * operation.key.curve().order_bytes) {
    throw Error(
        CKR_SIGNATURE_LEN_RANGE,
        "a signature on this curve has " + std::to_string(2 * operation.key.curve().order_bytes) + " bytes");
  }
  if (!operation.key.verifies(digest, signature)) {
    throw Error(CKR_SIGNATURE_INVALID, "the signature is not this key's");
  }
}

}  // namespace tee_token
