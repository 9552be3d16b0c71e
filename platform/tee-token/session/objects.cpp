// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "session/session.h"

namespace tee_token {
namespace {

CK_RV copy_attribute(const Attributes& object, CK_ATTRIBUTE& attribute) {
  const CK_ULONG room = attribute.ulValueLen;
  attribute.ulValueLen = CK_UNAVAILABLE_INFORMATION;
  if (attribute.type == CKA_VALUE && is_guarded(object)) {
    return CKR_ATTRIBUTE_SENSITIVE;
  }
  if (!object.has(attribute.type)) {
    return CKR_ATTRIBUTE_TYPE_INVALID;
  }
  const Bytes& value = object.at(attribute.type);
  if (attribute.pValue != nullptr) {
    if (room < value.size()) {
      return CKR_BUFFER_TOO_SMALL;
    }
    std::copy(value.begin(), value.end(), static_cast<std::uint8_t*>(attribute.pValue));
  }
  attribute.ulValueLen = value.size();
  return CKR_OK;
}

void require_may_leave(const KeyDevice& device, const Attributes& private_key) {
  if (private_key.is_true(CKA_EXTRACTABLE) && !device.exports_keys()) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "a key in the TPM cannot be CKA_EXTRACTABLE");
  }
}

void set_new_key(Attributes& public_key, Attributes& private_key, const Login& login) {
  require_may_leave(*login.device, private_key);
  const KeyDevice::NewKey key = login.device->generate(public_key.at(CKA_EC_PARAMS), login.master_key);
  private_key.set(CKA_VALUE, key.value);
  public_key.set(CKA_EC_POINT, key.ec_point);
  const Bytes info = EcPublicKey(public_key.at(CKA_EC_PARAMS), public_key.at(CKA_EC_POINT)).info();
  public_key.set(CKA_PUBLIC_KEY_INFO, info);
  private_key.set(CKA_PUBLIC_KEY_INFO, info);
}

void move_to_device(Attributes& private_key, const Login& login) {
  require_may_leave(*login.device, private_key);
  private_key.set(CKA_VALUE, login.device->import(private_key.at(CKA_EC_PARAMS), private_key.at(CKA_VALUE),
                                                  login.master_key));
}

}  // namespace

CK_OBJECT_HANDLE Session::create(Attributes given) {
  Attributes object = created_object(std::move(given), creator());
  require_may_write(place_of(object));
  m_token.objects().require_may_store(object);
  if (object.number(CKA_CLASS) == CKO_PRIVATE_KEY) {
    move_to_device(object, *m_token.login());
  }
  ObjectChange change(m_token, place_of(object));
  const CK_OBJECT_HANDLE created = m_token.objects().insert(object, m_handle);
  change.commit();
  return created;
}

Session::KeyPair Session::generate(Attributes public_half, Attributes private_half) {
  private_half.set_if_absent(CKA_EC_PARAMS, public_half.at(CKA_EC_PARAMS));
  Attributes public_key = generated_half(std::move(public_half), CKO_PUBLIC_KEY, creator());
  Attributes private_key = generated_half(std::move(private_half), CKO_PRIVATE_KEY, creator());
  if (private_key.at(CKA_EC_PARAMS) != public_key.at(CKA_EC_PARAMS)) {
    throw Error(CKR_TEMPLATE_INCONSISTENT, "the two halves name different curves");
  }
  for (const Attributes* const half : {&private_key, &public_key}) {
    require_may_write(place_of(*half));
    m_token.objects().require_may_store(*half);
  }
  set_new_key(public_key, private_key, *m_token.login());

  // When the halves are in two places, the change in memory is committed last, because that cannot fail.
  std::optional<ObjectChange> in_memory;
  if (place_of(public_key) != place_of(private_key)) {
    in_memory.emplace(m_token, Place::kSession);
  }
  ObjectChange change(m_token, in_memory ? Place::kToken : place_of(public_key));
  ObjectSpace& objects = m_token.objects();
  const KeyPair made{objects.insert(public_key, m_handle), objects.insert(private_key, m_handle)};
  change.commit();
  if (in_memory) {
    in_memory->commit();
  }
  return made;
}

CK_OBJECT_HANDLE Session::copy(CK_OBJECT_HANDLE object, const Attributes& changes) {
  ObjectSpace& objects = m_token.objects();
  const Place from = place_of(object), to = changes.has(CKA_TOKEN) ? place_of(changes) : from;
  ObjectChange change(m_token, to);
  Attributes source = m_token.require(object);
  unseal(object, source, m_token.login());
  const Attributes copied = copied_object(std::move(source), changes);
  require_may_write(to);
  objects.require_may_store(copied);
  const CK_OBJECT_HANDLE made = objects.insert(copied, m_handle);
  change.commit();
  return made;
}

void Session::destroy(CK_OBJECT_HANDLE object) {
  ObjectChange change(m_token, place_of(object));
  require_may_destroy(object);
  m_token.objects().in(place_of(object)).erase(object);
  change.commit();
}

void Session::require_may_destroy(CK_OBJECT_HANDLE object) {
  try {
    const Attributes stored = m_token.require(object);
    require_may_write(place_of(stored));
    require_may_change(stored);
    if (!stored.is_true(CKA_DESTROYABLE)) {
      throw Error(CKR_ACTION_PROHIBITED, "the object is not CKA_DESTROYABLE");
    }
  } catch (const DamagedObject&) {
    // It cannot be used, and its attributes cannot be trusted: any logged-in user may remove it.
    require_may_write(Place::kToken);
    if (!m_token.login()) {
      throw;
    }
  }
}

void Session::read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* first, CK_ULONG count) {
  if (first == nullptr && count != 0) {
    throw Error(CKR_ARGUMENTS_BAD, "the template is a null pointer");
  }
  Attributes stored = m_token.require(object);
  if (!is_guarded(stored)) {
    unseal(object, stored, m_token.login());
  }
  // When an attribute cannot be returned, the other attributes still are (base, 4.1.2).
  CK_RV last_error = CKR_OK;
  for (CK_ATTRIBUTE* attribute = first; attribute != first + count; ++attribute) {
    const CK_RV code = copy_attribute(stored, *attribute);
    last_error = code == CKR_OK ? last_error : code;
  }
  if (last_error != CKR_OK) {
    throw Error(last_error, "not all attributes can be returned");
  }
}

CK_ULONG Session::size_of(CK_OBJECT_HANDLE object) { return m_token.require(object).size(); }

void Session::set_attributes(CK_OBJECT_HANDLE object, const Attributes& changes) {
  ObjectChange change(m_token, place_of(object));
  const Attributes current = m_token.require(object);
  require_may_write(place_of(current));
  require_may_change(current);
  require_changeable(current, changes, creator());
  m_token.objects().in(place_of(object)).update(object, changes);
  change.commit();
}

}  // namespace tee_token
