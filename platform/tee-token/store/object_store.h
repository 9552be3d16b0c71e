// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/attributes.h"
#include "base/error.h"
#include "crypto/mac.h"
#include "store/sqlite.h"

namespace tee_token {

/// An object is not as the token has stored it (CKR_DEVICE_ERROR).
class DamagedObject : public Failure {
 public:
  explicit DamagedObject(CK_OBJECT_HANDLE object);
};

/// The objects of one database: those of the token in its store, or those of the sessions in memory.
///
/// A search walks one index on (attribute, value), so that it costs the same with ten objects and with ten
/// thousand. Object numbers are never used twice, so that an old handle never means a new object. The
/// CKA_VALUE of a private object is only ever stored sealed under the master key, bound to its object and
/// attribute. All that an object is made of is authenticated: its number, its session, its attributes.
class ObjectStore {
 public:
  /// `master_key` is empty while no user is logged in, and then no sealed value can be read or written.
  /// `mac_key` is empty where objects are not authenticated: in memory, and in a store of version 1.
  ObjectStore(Database& database, const Bytes& master_key, const Bytes& mac_key)
      : m_database(database), m_master_key(master_key), m_mac_key(mac_key) {}

  /// The key that authenticates the objects of the token with this serial number.
  static Bytes mac_key(const Bytes& device_key, const Bytes& serial);

  /// Makes the tables; the first object gets the number `first`.
  static void create_schema(Database& database, CK_OBJECT_HANDLE first);

  /// Adds an object; `session` is its owner, 0 for none.
  CK_OBJECT_HANDLE insert(const Attributes& object, CK_SESSION_HANDLE session);
  void update(CK_OBJECT_HANDLE object, const Attributes& changes);
  void erase(CK_OBJECT_HANDLE object);
  void erase_all();
  /// Removes the objects that `session` owns.
  void erase_of(CK_SESSION_HANDLE session);

  /// The attributes of an object as they are stored, a private CKA_VALUE sealed; nothing when there is no
  /// such object. Throws DamagedObject when they are not what was once stored.
  std::optional<Attributes> load(CK_OBJECT_HANDLE object);
  /// Opens the CKA_VALUE among attributes that were loaded. Throws a Failure (CKR_DEVICE_ERROR).
  void unseal(CK_OBJECT_HANDLE object, Attributes& loaded) const;

  /// The first object above `after`, in order of creation, that has all attributes of `wanted` as the index
  /// says, which is not authenticated; 0 when there is none. `wanted` must not ask for CKA_VALUE, which is
  /// not in the index.
  CK_OBJECT_HANDLE next_match(const Attributes& wanted, CK_OBJECT_HANDLE after);

  /// Gives `object`, whose attributes as they are stored these are, its MAC. Each change does; an upgrade
  /// does nothing else.
  void authenticate(CK_OBJECT_HANDLE object, const Attributes& stored);

  Database& database() { return m_database; }

 private:
  Attributes sealed(CK_OBJECT_HANDLE object, Attributes attributes, bool is_private) const;
  void write(CK_OBJECT_HANDLE object, const Attributes& sealed);
  Attributes attributes_of(CK_OBJECT_HANDLE object);
  bool is_sound(CK_OBJECT_HANDLE object, const Attributes& attributes);
  Mac mac_of(CK_OBJECT_HANDLE object, sqlite3_int64 session, const Attributes& attributes) const;
  CK_OBJECT_HANDLE seek(CK_ATTRIBUTE_TYPE type, ByteView value, CK_OBJECT_HANDLE from);

  Database& m_database;
  const Bytes& m_master_key;
  const Bytes& m_mac_key;
};

}  // namespace tee_token
