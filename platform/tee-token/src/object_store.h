#pragma once

#include "attributes.h"
#include "error.h"
#include "sqlite.h"

namespace tee_token {

/// What to throw of an object that is not as the token stores objects.
Failure damaged_object(CK_OBJECT_HANDLE object);

/// The objects of one database: those of the token in its store, or those of the sessions in memory.
///
/// A search walks one index on (attribute, value), so that it costs the same with ten objects and with ten
/// thousand. Object numbers are never used twice, so that an old handle never means a new object. The
/// CKA_VALUE of a private object is only ever stored sealed under the master key, bound to its object and
/// attribute.
class ObjectStore {
 public:
  /// `master_key` is empty while no user is logged in, and then no sealed value can be read or written.
  ObjectStore(Database& database, const Bytes& master_key) : m_database(database), m_master_key(master_key) {}

  /// Makes the tables; the first object gets the number `first`.
  static void create_schema(Database& database, CK_OBJECT_HANDLE first);

  /// Adds an object; `session` is its owner, 0 for none.
  CK_OBJECT_HANDLE insert(const Attributes& object, CK_SESSION_HANDLE session);
  void update(CK_OBJECT_HANDLE object, const Attributes& changes);
  void erase(CK_OBJECT_HANDLE object);
  void erase_all();
  /// Removes the objects that `session` owns.
  void erase_of(CK_SESSION_HANDLE session);

  bool contains(CK_OBJECT_HANDLE object);
  /// Whether the object has this attribute with this value; never true for CKA_VALUE.
  bool has(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, ByteView value);
  /// The value of one attribute, unsealed; false when the object does not have it.
  bool read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, Bytes& value);
  /// All attributes, unsealed. Throws a Failure (CKR_DEVICE_ERROR) when they are not what was once stored.
  Attributes load(CK_OBJECT_HANDLE object);

  /// Throws as `load` does, but opens nothing that is sealed, and so needs no login.
  void require_sound(CK_OBJECT_HANDLE object) { stored(object); }

  /// Bytes that its attributes take, each with its number.
  CK_ULONG size_of(CK_OBJECT_HANDLE object);

  /// The first object above `after`, in order of creation, that has all attributes of `wanted`; 0 when there
  /// is none. `wanted` must not ask for CKA_VALUE, which is not in the index.
  CK_OBJECT_HANDLE next_match(const Attributes& wanted, CK_OBJECT_HANDLE after);

  Database& database() { return m_database; }

 private:
  Attributes stored(CK_OBJECT_HANDLE object);
  void write(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, const Bytes& value, bool is_private);
  Bytes unsealed(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, const Bytes& stored) const;
  CK_OBJECT_HANDLE seek(CK_ATTRIBUTE_TYPE type, ByteView value, CK_OBJECT_HANDLE from);

  Database& m_database;
  const Bytes& m_master_key;
};

}  // namespace tee_token
