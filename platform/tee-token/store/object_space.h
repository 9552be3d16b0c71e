// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <vector>

#include "base/login.h"
#include "store/object_store.h"

namespace tee_token {

/// All objects that an application sees: those of the token and those of its sessions, under one range of
/// handles, private ones only while the user is logged in.
class ObjectSpace {
 public:
  /// `mac_key` is that of the token's store.
  ObjectSpace(Database& store, const Login& login, const Bytes& mac_key)
      : m_login(login), m_token_objects(store, login.master_key, mac_key) {}

  /// The store that holds, or would hold, the object.
  ObjectStore& store_of(CK_OBJECT_HANDLE object);
  ObjectStore& store_for(bool token_object);

  /// What is stored of an object (ObjectStore::load); nothing when the application may not see it. Throws
  /// DamagedObject: whether it may see that one nobody knows.
  std::optional<Attributes> seen(CK_OBJECT_HANDLE object);
  /// The same. Throws CKR_OBJECT_HANDLE_INVALID when there is nothing to be seen.
  Attributes visible(CK_OBJECT_HANDLE object);

  /// Throws CKR_USER_NOT_LOGGED_IN when the object would be private and no user is logged in.
  void require_may_store(const Attributes& object) const;

  /// Up to `limit` objects above `after` that match, in order of creation, the token's first. Values that
  /// must not be read match nothing. A damaged object is found like others, so that it can be replaced.
  std::vector<CK_OBJECT_HANDLE> find(const Attributes& wanted, CK_OBJECT_HANDLE after, std::size_t limit);

  /// The session objects of one session, and all private ones, cease to exist with it and with the login.
  void forget_session(CK_SESSION_HANDLE session);
  void forget_private_session_objects();

 private:
  void find_in(ObjectStore& store, const Attributes& wanted, CK_OBJECT_HANDLE after, std::size_t limit,
               std::vector<CK_OBJECT_HANDLE>& found);
  bool has_value(CK_OBJECT_HANDLE object, const Bytes& value);

  const Login& m_login;
  ObjectStore m_token_objects;
  // Made with the first session object: most applications have none.
  std::optional<Database> m_memory;
  std::optional<ObjectStore> m_session_objects;
};

/// Whether CKA_VALUE of the object must not be read: a private key's, unless it was made to be extracted.
bool is_guarded(const Attributes& object);

/// Whether it is the security officer's alone to change and to destroy: what he trusts, and trust store
/// groups.
bool belongs_to_officer(const Attributes& object);

}  // namespace tee_token
