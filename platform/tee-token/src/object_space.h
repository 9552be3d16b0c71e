#pragma once

#include <optional>
#include <vector>

#include "login.h"
#include "object_store.h"

namespace tee_token {

/// All objects that an application sees: those of the token and those of its sessions, under one range of
/// handles, private ones only while the user is logged in.
class ObjectSpace {
 public:
  ObjectSpace(Database& store, const Login& login)
      : m_login(login), m_token_objects(store, login.master_key) {}

  /// The store that holds, or would hold, the object.
  ObjectStore& store_of(CK_OBJECT_HANDLE object);
  ObjectStore& store_for(bool token_object);

  /// Whether there is such an object and the application may see it.
  bool is_visible(CK_OBJECT_HANDLE object);
  /// Throws CKR_OBJECT_HANDLE_INVALID unless the object is visible.
  void require_visible(CK_OBJECT_HANDLE object);

  /// Throws CKR_USER_NOT_LOGGED_IN when the object would be private and no user is logged in.
  void require_may_store(const Attributes& object) const;

  /// Up to `limit` objects above `after` that match, in order of creation, the token's first. Values that
  /// must not be read match nothing.
  std::vector<CK_OBJECT_HANDLE> find(const Attributes& wanted, CK_OBJECT_HANDLE after, std::size_t limit);

  /// Whether CKA_VALUE of the object must not be read: a private key's, unless it was made to be extracted.
  bool is_guarded(CK_OBJECT_HANDLE object);

  /// Whether it is the security officer's alone to change and to destroy: what he trusts, and trust store
  /// groups.
  bool belongs_to_officer(CK_OBJECT_HANDLE object);

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

}  // namespace tee_token
