// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/attributes.h"
#include "base/error.h"
#include "store/pin.h"
#include "store/sqlite.h"

namespace tee_token {

/// An object is not as the token has stored it (CKR_DEVICE_ERROR).
class DamagedObject : public Failure {
 public:
  explicit DamagedObject(CK_OBJECT_HANDLE object);
};

/// The objects of one database: those of the token in its store, or those of the sessions in memory.
///
/// An object is one record: its attributes, the CKA_VALUE of a private object sealed under the master key and
/// bound to object and attribute, and a MAC over number and record. An index of attributes finds objects, so
/// that a search costs the same with 10 and with 10,000 of them; the record decides whether an object
/// matches. Object numbers are never used twice, so that an old handle never means a new object.
class ObjectStore {
 public:
  /// `login` is what sealed values are read and written with.
  ObjectStore(Database& database, Bytes mac_key, const std::optional<Login>& login)
      : m_database(database), m_mac_key(std::move(mac_key)), m_login(login) {}

  /// The key that authenticates the objects of the token with this serial number.
  static Bytes mac_key(const Bytes& device_key, const Bytes& serial);

  /// Makes the tables; the first object gets the number `first`.
  static void create_tables(Database& database, CK_OBJECT_HANDLE first);

  CK_OBJECT_HANDLE insert(const Attributes& object);
  void update(CK_OBJECT_HANDLE object, const Attributes& changes);
  /// Does nothing when there is no such object.
  void erase(CK_OBJECT_HANDLE object);
  void erase_all();

  /// The attributes of an object, a private CKA_VALUE still sealed; nothing when there is no such object.
  /// Throws DamagedObject.
  std::optional<Attributes> load(CK_OBJECT_HANDLE object);
  /// Opens the CKA_VALUE among attributes that were loaded. Throws a Failure (CKR_DEVICE_ERROR).
  void unseal(CK_OBJECT_HANDLE object, Attributes& loaded) const;

  /// The first object above `after`, in order of creation, that has all attributes of `wanted`, or that is
  /// damaged and has them according to the index; 0 when there is none. Values are compared as they are
  /// stored.
  CK_OBJECT_HANDLE next_match(const Attributes& wanted, CK_OBJECT_HANDLE after);

  Database& database() { return m_database; }

 private:
  CK_OBJECT_HANDLE next_number();
  void write(CK_OBJECT_HANDLE object, const Attributes& attributes);
  /// Runs `sql` with type, value and object of each attribute that is indexed.
  void change_index(const char* sql, CK_OBJECT_HANDLE object, const Attributes& attributes);
  void remove_from_index(CK_OBJECT_HANDLE object, const Attributes& attributes);
  Bytes seal_value(CK_OBJECT_HANDLE object, const Bytes& value) const;
  CK_OBJECT_HANDLE next_in_index(const Attributes& wanted, CK_OBJECT_HANDLE from);
  bool matches(CK_OBJECT_HANDLE object, const Attributes& wanted);

  Database& m_database;
  Bytes m_mac_key;
  const std::optional<Login>& m_login;
};

}  // namespace tee_token
