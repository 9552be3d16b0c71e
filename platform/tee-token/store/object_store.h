// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>

#include "base/attributes.h"
#include "base/error.h"
#include "store/pin.h"
#include "store/sqlite.h"

namespace tee_token {

/// The stored object was changed or damaged (CKR_DEVICE_ERROR).
class DamagedObject : public Failure {
 public:
  explicit DamagedObject(CK_OBJECT_HANDLE object);
};

/// A range of object numbers. The place of an object follows from its number.
struct Numbers {
  CK_OBJECT_HANDLE first, last;
};
constexpr Numbers kTokenNumbers = {1, (1UL << 62) - 1}, kSessionNumbers = {1UL << 62, (1UL << 63) - 2};

/// Unseals the CKA_VALUE of a private object that was loaded. Throws a Failure (CKR_DEVICE_ERROR).
void unseal(CK_OBJECT_HANDLE object, Attributes& loaded, const std::optional<Login>& login);

/// The objects of one database: those of the token in its store, or those of the sessions in memory.
///
/// An object is one record: its attributes, the CKA_VALUE of a private object sealed under the master key and
/// bound to object and attribute, and a MAC over number and record. An index of attributes finds objects, so
/// that a search takes the same time with 10 and with 10,000 objects; the record decides whether an object
/// matches. Object numbers are never used twice, so that an old handle never means a new object.
class ObjectStore {
 public:
  /// `login`, which may change, has the key of sealed values.
  ObjectStore(Database& database, const Numbers& numbers, Bytes mac_key, const std::optional<Login>& login)
      : m_database(database), m_numbers(numbers), m_mac_key(std::move(mac_key)), m_login(login) {}

  /// The key that authenticates the objects of the token with this serial number.
  static Bytes mac_key(const Bytes& device_key, const Bytes& serial);

  /// What Database::schema returns of the tables.
  static std::string schema();
  /// Makes the tables for objects of these numbers.
  static void create_tables(Database& database, const Numbers& numbers);

  /// The last number that was given to an object, or the one before the first. Throws Damage when that number
  /// or that of an object is out of range, or an object has a higher one.
  static CK_OBJECT_HANDLE last_number(Database& database, const Numbers& numbers);

  CK_OBJECT_HANDLE insert(const Attributes& object);
  void update(CK_OBJECT_HANDLE object, const Attributes& changes);
  /// Does nothing when there is no such object.
  void erase(CK_OBJECT_HANDLE object);
  /// Numbering goes on, unless the numbers are damaged: then it begins again.
  static void erase_all(Database& database, const Numbers& numbers);

  /// The attributes of an object, a private CKA_VALUE still sealed; nothing when there is no such object.
  /// Throws DamagedObject.
  std::optional<Attributes> load(CK_OBJECT_HANDLE object);

  /// The first object above `after`, in order of creation, that has all attributes of `wanted`, or that is
  /// damaged and has them according to the index; 0 when there is none. Values are compared as they are
  /// stored.
  CK_OBJECT_HANDLE next_match(const Attributes& wanted, CK_OBJECT_HANDLE after);

  Database& database() { return m_database; }

 private:
  void write(CK_OBJECT_HANDLE object, const Attributes& attributes);
  /// Runs `sql` with type, value and object for each attribute that is indexed.
  void change_index(const char* sql, CK_OBJECT_HANDLE object, const Attributes& attributes);
  void remove_from_index(CK_OBJECT_HANDLE object, const Attributes& attributes);
  Bytes seal_value(CK_OBJECT_HANDLE object, const Bytes& value) const;
  CK_OBJECT_HANDLE next_in_index(const Attributes& wanted, CK_OBJECT_HANDLE from);
  bool matches(CK_OBJECT_HANDLE object, const Attributes& wanted);

  Database& m_database;
  Numbers m_numbers;
  Bytes m_mac_key;
  const std::optional<Login>& m_login;
};

}  // namespace tee_token
