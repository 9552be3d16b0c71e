// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <map>
#include <optional>
#include <vector>

#include "store/object_store.h"

namespace tee_token {

/// Where an object is stored: in the token's store, or in memory until its session ends.
enum class Place { kToken, kSession };

/// The place of the object with this handle.
Place place_of(CK_OBJECT_HANDLE object);
/// The place that CKA_TOKEN asks for.
Place place_of(const Attributes& object);

/// All objects that an application can see, in one range of handles: those of the token and those of its
/// sessions; private ones only while the user is logged in.
class ObjectSpace {
 public:
  explicit ObjectSpace(const std::optional<Login>& login) : m_login(login) {}

  /// Sets the store of the token's objects.
  void use_token_objects(ObjectStore store) { m_token_objects.emplace(std::move(store)); }

  /// The objects in `place`; those of the token only after `use_token_objects`.
  ObjectStore& in(Place place);

  /// The stored attributes of an object (ObjectStore::load); nothing when it does not exist or is not
  /// visible. Throws DamagedObject.
  std::optional<Attributes> find(CK_OBJECT_HANDLE object);
  /// The object, if it is visible.
  std::optional<Attributes> visible(std::optional<Attributes> object) const;

  /// Throws CKR_USER_NOT_LOGGED_IN when `object` is private and no user is logged in.
  void require_may_store(const Attributes& object) const;

  /// Stores an object of the token, or of `session`, as CKA_TOKEN says.
  CK_OBJECT_HANDLE insert(const Attributes& object, CK_SESSION_HANDLE session);

  /// Up to `limit` objects in `place` above `after` that match, in order of creation. A CKA_VALUE that must
  /// not be read never matches. A damaged object matches, so that it can be replaced, unless `wanted` has a
  /// CKA_VALUE.
  std::vector<CK_OBJECT_HANDLE> search(Place place, const Attributes& wanted, CK_OBJECT_HANDLE after,
                                       std::size_t limit);

  /// Removes the session objects that end with one session, and the private ones, which end with the login.
  void end_session(CK_SESSION_HANDLE session);
  void end_login();

 private:
  struct SessionObjects {
    explicit SessionObjects(const std::optional<Login>& login);

    Database memory{":memory:"};
    ObjectStore store;
    std::map<CK_OBJECT_HANDLE, CK_SESSION_HANDLE> owners;
  };

  bool has_value(CK_OBJECT_HANDLE object, const Bytes& value);

  const std::optional<Login>& m_login;
  std::optional<ObjectStore> m_token_objects;
  std::optional<SessionObjects> m_session_objects;  // made for the first one: most applications have none
};

/// Whether CKA_VALUE of the object must not be read: a private key's, unless it is extractable and not
/// sensitive.
bool is_guarded(const Attributes& object);

/// Whether only the security officer may change and destroy the object: trusted ones and trust store groups.
bool belongs_to_officer(const Attributes& object);

}  // namespace tee_token
