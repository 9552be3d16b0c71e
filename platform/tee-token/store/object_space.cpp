// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/object_space.h"

#include <algorithm>

#include "base/error.h"
#include "crypto/symmetric.h"

namespace tee_token {

Place place_of(CK_OBJECT_HANDLE object) {
  return object < kSessionNumbers.first ? Place::kToken : Place::kSession;
}

Place place_of(const Attributes& object) {
  return object.is_true(CKA_TOKEN) ? Place::kToken : Place::kSession;
}

ObjectSpace::SessionObjects::SessionObjects(const std::optional<Login>& login)
    : store(memory, kSessionNumbers, random_bytes(kKeyLength), login) {
  ObjectStore::create_tables(memory, kSessionNumbers);
}

ObjectStore& ObjectSpace::in(Place place) {
  if (place == Place::kToken) {
    return m_token_objects.value();
  }
  if (!m_session_objects) {
    m_session_objects.emplace(m_login);
  }
  return m_session_objects->store;
}

std::optional<Attributes> ObjectSpace::find(CK_OBJECT_HANDLE object) {
  return visible(in(place_of(object)).load(object));
}

std::optional<Attributes> ObjectSpace::visible(std::optional<Attributes> object) const {
  const bool is_hidden = object && object->is_true(CKA_PRIVATE) && !is_login_of(m_login, User::kUser);
  return is_hidden ? std::nullopt : std::move(object);
}

void ObjectSpace::require_may_store(const Attributes& object) const {
  if (object.is_true(CKA_PRIVATE) && !is_login_of(m_login, User::kUser)) {
    throw Error(CKR_USER_NOT_LOGGED_IN, "only the logged-in user can create a private object");
  }
}

CK_OBJECT_HANDLE ObjectSpace::insert(const Attributes& object, CK_SESSION_HANDLE session) {
  const Place place = place_of(object);
  const CK_OBJECT_HANDLE number = in(place).insert(object);
  if (place == Place::kSession) {
    m_session_objects->owners[number] = session;
  }
  return number;
}

std::vector<CK_OBJECT_HANDLE> ObjectSpace::search(Place place, const Attributes& given,
                                                  CK_OBJECT_HANDLE after, std::size_t limit) {
  std::vector<CK_OBJECT_HANDLE> found;
  if (place == Place::kSession && !m_session_objects) {
    return found;
  }
  ObjectStore& store = in(place);
  Attributes wanted = given;
  // The store compares stored values, and CKA_VALUE may be sealed: it is compared here.
  const std::optional<Bytes> value =
      wanted.has(CKA_VALUE) ? std::optional<Bytes>(wanted.at(CKA_VALUE)) : std::nullopt;
  wanted.erase(CKA_VALUE);
  if (!is_login_of(m_login, User::kUser)) {
    if (wanted.is_true(CKA_PRIVATE)) {
      return found;
    }
    wanted.set_bool(CKA_PRIVATE, false);
  }
  while (found.size() < limit && (after = store.next_match(wanted, after)) != 0) {
    if (!value || has_value(after, *value)) {
      found.push_back(after);
    }
  }
  return found;
}

bool ObjectSpace::has_value(CK_OBJECT_HANDLE object, const Bytes& value) {
  try {
    std::optional<Attributes> found = find(object);
    if (!found || !found->has(CKA_VALUE) || is_guarded(*found)) {
      return false;
    }
    unseal(object, *found, m_login);
    return found->at(CKA_VALUE) == value;
  } catch (const DamagedObject&) {
    return false;  // the search still finds the others
  }
}

void ObjectSpace::end_session(CK_SESSION_HANDLE session) {
  if (!m_session_objects) {
    return;
  }
  auto& owners = m_session_objects->owners;
  for (auto next = owners.begin(); next != owners.end();) {
    const auto [object, owner] = *next;
    if (owner == session) {
      m_session_objects->store.erase(object);
    }
    next = owner == session ? owners.erase(next) : std::next(next);
  }
}

void ObjectSpace::end_login() {
  Attributes is_private;
  is_private.set_bool(CKA_PRIVATE, true);
  CK_OBJECT_HANDLE object = kSessionNumbers.first - 1;
  while (m_session_objects && (object = m_session_objects->store.next_match(is_private, object)) != 0) {
    m_session_objects->store.erase(object);
  }
}

bool is_guarded(const Attributes& object) {
  return object.is_true(CKA_SENSITIVE) || (object.has(CKA_EXTRACTABLE) && !object.is_true(CKA_EXTRACTABLE));
}

bool belongs_to_officer(const Attributes& object) {
  return object.is_true(CKA_TRUSTED) || object.number(CKA_CLASS) == TEE_CKO_TRUST_STORE_GROUP;
}

}  // namespace tee_token
