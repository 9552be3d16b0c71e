// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/object_space.h"

#include <algorithm>

#include "base/error.h"

namespace tee_token {
namespace {

// Handles from here on are session objects: the number tells where to look.
constexpr CK_OBJECT_HANDLE kFirstSessionObject = 1UL << 62;

// Never destroyed: a program may end a session while it exits.
const Bytes& kNoKey = *new Bytes;

}  // namespace

ObjectStore& ObjectSpace::store_of(CK_OBJECT_HANDLE object) {
  return store_for(object < kFirstSessionObject);
}

ObjectStore& ObjectSpace::store_for(bool token_object) {
  if (token_object) {
    return m_token_objects;
  }
  if (!m_session_objects) {
    m_memory.emplace(":memory:");
    ObjectStore::create_schema(*m_memory, kFirstSessionObject);
    m_session_objects.emplace(*m_memory, m_login.master_key, kNoKey);
  }
  return *m_session_objects;
}

std::optional<Attributes> ObjectSpace::seen(CK_OBJECT_HANDLE object) {
  std::optional<Attributes> found = store_of(object).load(object);
  if (found && found->is_true(CKA_PRIVATE) && !m_login.is(User::kUser)) {
    return std::nullopt;
  }
  return found;
}

Attributes ObjectSpace::visible(CK_OBJECT_HANDLE object) {
  std::optional<Attributes> found = seen(object);
  if (!found) {
    throw Error(CKR_OBJECT_HANDLE_INVALID, "there is no object " + std::to_string(object) + " to be seen");
  }
  return *std::move(found);
}

void ObjectSpace::require_may_store(const Attributes& object) const {
  if (object.is_true(CKA_PRIVATE) && !m_login.is(User::kUser)) {
    throw Error(CKR_USER_NOT_LOGGED_IN, "a private object can only be made by the logged-in user");
  }
}

std::vector<CK_OBJECT_HANDLE> ObjectSpace::find(const Attributes& wanted, CK_OBJECT_HANDLE after,
                                                std::size_t limit) {
  std::vector<CK_OBJECT_HANDLE> found;
  if (after < kFirstSessionObject) {
    find_in(m_token_objects, wanted, after, limit, found);
  }
  if (m_session_objects) {
    find_in(*m_session_objects, wanted, std::max(after, kFirstSessionObject - 1), limit, found);
  }
  return found;
}

void ObjectSpace::find_in(ObjectStore& store, const Attributes& wanted, CK_OBJECT_HANDLE after,
                          std::size_t limit, std::vector<CK_OBJECT_HANDLE>& found) {
  Attributes indexed = wanted;
  indexed.erase(CKA_VALUE);
  if (!m_login.is(User::kUser)) {
    if (indexed.is_true(CKA_PRIVATE)) {
      return;
    }
    indexed.set_bool(CKA_PRIVATE, false);
  }
  while (found.size() < limit && (after = store.next_match(indexed, after)) != 0) {
    if (!wanted.has(CKA_VALUE) || has_value(after, wanted.at(CKA_VALUE))) {
      found.push_back(after);
    }
  }
}

bool ObjectSpace::has_value(CK_OBJECT_HANDLE object, const Bytes& value) {
  try {
    std::optional<Attributes> found = seen(object);
    if (!found || !found->has(CKA_VALUE) || is_guarded(*found)) {
      return false;
    }
    store_of(object).unseal(object, *found);
    return found->at(CKA_VALUE) == value;
  } catch (const DamagedObject&) {
    return false;  // no reason not to find the others
  }
}

void ObjectSpace::forget_session(CK_SESSION_HANDLE session) {
  if (m_session_objects) {
    m_session_objects->erase_of(session);
  }
}

void ObjectSpace::forget_private_session_objects() {
  Attributes is_private;
  is_private.set_bool(CKA_PRIVATE, true);
  CK_OBJECT_HANDLE object = kFirstSessionObject - 1;
  while (m_session_objects && (object = m_session_objects->next_match(is_private, object)) != 0) {
    m_session_objects->erase(object);
  }
}

bool is_guarded(const Attributes& object) {
  return object.is_true(CKA_SENSITIVE) || (object.has(CKA_EXTRACTABLE) && !object.is_true(CKA_EXTRACTABLE));
}

bool belongs_to_officer(const Attributes& object) {
  return object.is_true(CKA_TRUSTED) || object.number(CKA_CLASS) == TEE_CKO_TRUST_STORE_GROUP;
}

}  // namespace tee_token
