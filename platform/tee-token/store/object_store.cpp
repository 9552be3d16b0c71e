// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/object_store.h"

#include <algorithm>

#include "crypto/symmetric.h"

namespace tee_token {
namespace {

sqlite3_int64 row(CK_ULONG number) { return static_cast<sqlite3_int64>(number); }

// AUTOINCREMENT: sqlite_sequence, which SQLite makes, keeps the last number after that object is deleted.
constexpr char kObjectTable[] =
    "CREATE TABLE object (number INTEGER PRIMARY KEY AUTOINCREMENT, record BLOB NOT NULL);";
constexpr char kIndexTable[] =
    "CREATE TABLE attribute_index (type INTEGER NOT NULL, value BLOB NOT NULL, object INTEGER NOT NULL,"
    " PRIMARY KEY (type, value, object)) WITHOUT ROWID;";

constexpr int kMaxRecordLength = kMaxRowLength - 64;  // the row also has the number and lengths

void set_last_number(Database& database, CK_OBJECT_HANDLE number) {
  database.execute("DELETE FROM sqlite_sequence");
  database.query("INSERT INTO sqlite_sequence (name, seq) VALUES ('object', ?)").bind(row(number)).run();
}

bool is_indexed(CK_ATTRIBUTE_TYPE type) {
  const AttributeRule* const rule = find_rule(type);
  return rule != nullptr && rule->is_indexed;
}

Mac mac_of(CK_OBJECT_HANDLE object, ByteView attributes, const Bytes& key) {
  Mac mac(key);
  mac.add(bytes_of(object)).add(attributes);
  return mac;
}

Bytes seal_context(CK_OBJECT_HANDLE object) {
  Bytes context = bytes_of(object);
  append(context, bytes_of<CK_ATTRIBUTE_TYPE>(CKA_VALUE));
  return context;
}

}  // namespace

DamagedObject::DamagedObject(CK_OBJECT_HANDLE object)
    : Failure(CKR_DEVICE_ERROR, "object " + std::to_string(object) +
                                    " of the store is damaged; to remove it: tee-token destroy --force " +
                                    std::to_string(object)) {}

Bytes ObjectStore::mac_key(const Bytes& device_key, const Bytes& serial) {
  return derive_key(device_key, serial, std::string("tee-token objects"));
}

std::string ObjectStore::schema() {
  return std::string(kObjectTable) + "CREATE TABLE sqlite_sequence(name,seq);" + kIndexTable;
}

void ObjectStore::create_tables(Database& database, const Numbers& numbers) {
  database.execute(kObjectTable);
  database.execute(kIndexTable);
  set_last_number(database, numbers.first - 1);
}

CK_OBJECT_HANDLE ObjectStore::insert(const Attributes& object) {
  // The last number stays unused: with it the store would be refused from then on.
  const CK_OBJECT_HANDLE number = last_number(m_database, {m_numbers.first, m_numbers.last - 1}) + 1;
  Attributes stored = object;
  if (object.is_true(CKA_PRIVATE) && object.has(CKA_VALUE)) {
    stored.set(CKA_VALUE, seal_value(number, object.at(CKA_VALUE)));
  }
  write(number, stored);
  return number;
}

CK_OBJECT_HANDLE ObjectStore::last_number(Database& database, const Numbers& numbers) {
  Query query = database.query(
      "SELECT seq FROM sqlite_sequence WHERE name = 'object' AND seq BETWEEN ?1 - 1 AND ?2 - 1"
      " AND NOT EXISTS (SELECT * FROM object WHERE number < ?1)"
      " AND NOT EXISTS (SELECT * FROM object WHERE number > seq)");
  if (!query.bind(row(numbers.first)).bind(row(numbers.last)).step()) {
    throw Damage("object numbers are out of range", "make a new token over it: tee-token init --force");
  }
  return static_cast<CK_OBJECT_HANDLE>(query.number(0));
}

void ObjectStore::update(CK_OBJECT_HANDLE object, const Attributes& changes) {
  Attributes stored = load(object).value();
  remove_from_index(object, stored);
  for (const auto& [type, value] : changes) {
    stored.set(type, value);
  }
  write(object, stored);
}

void ObjectStore::write(CK_OBJECT_HANDLE object, const Attributes& attributes) {
  Bytes record = attributes.encode();
  append(record, mac_of(object, record, m_mac_key).result());
  if (record.size() > kMaxRecordLength) {
    throw Error(CKR_ATTRIBUTE_VALUE_INVALID, "the object is longer than 32 MiB");
  }
  m_database.query("INSERT OR REPLACE INTO object (number, record) VALUES (?, ?)")
      .bind(row(object))
      .bind(record)
      .run();
  change_index("INSERT OR IGNORE INTO attribute_index (type, value, object) VALUES (?, ?, ?)", object,
               attributes);
}

void ObjectStore::change_index(const char* sql, CK_OBJECT_HANDLE object, const Attributes& attributes) {
  for (const auto& [type, value] : attributes) {
    if (is_indexed(type)) {
      m_database.query(sql).bind(row(type)).bind(value).bind(row(object)).run();
    }
  }
}

void ObjectStore::erase(CK_OBJECT_HANDLE object) {
  try {
    remove_from_index(object, load(object).value_or(Attributes()));
  } catch (const DamagedObject&) {  // its index rows cannot be derived from the record
    m_database.query("DELETE FROM attribute_index WHERE object = ?").bind(row(object)).run();
  }
  m_database.query("DELETE FROM object WHERE number = ?").bind(row(object)).run();
}

void ObjectStore::remove_from_index(CK_OBJECT_HANDLE object, const Attributes& attributes) {
  change_index("DELETE FROM attribute_index WHERE type = ? AND value = ? AND object = ?", object, attributes);
}

void ObjectStore::erase_all(Database& database, const Numbers& numbers) {
  try {
    last_number(database, numbers);
  } catch (const Damage&) {  // there is no number to go on from
    set_last_number(database, numbers.first - 1);
  }
  database.execute("DELETE FROM attribute_index; DELETE FROM object;");
}

std::optional<Attributes> ObjectStore::load(CK_OBJECT_HANDLE object) {
  Query query = m_database.query("SELECT iif(length(record) <= ?, record, '') FROM object WHERE number = ?");
  if (!query.bind(kMaxRecordLength).bind(row(object)).step()) {
    return std::nullopt;
  }
  const Bytes record = query.bytes(0);
  if (record.size() < Mac::kLength) {
    throw DamagedObject(object);
  }
  const ByteView encoded(record.data(), record.size() - Mac::kLength);
  const ByteView mac(encoded.data + encoded.size, Mac::kLength);
  const bool is_authentic = mac_of(object, encoded, m_mac_key).matches(mac);
  std::optional<Attributes> attributes = is_authentic ? Attributes::decode(encoded) : std::nullopt;
  if (!attributes) {
    throw DamagedObject(object);
  }
  return attributes;
}

void unseal(CK_OBJECT_HANDLE object, Attributes& loaded, const std::optional<Login>& login) {
  if (!loaded.is_true(CKA_PRIVATE) || !loaded.has(CKA_VALUE)) {
    return;
  }
  const auto value =
      login ? unseal(login->master_key, loaded.at(CKA_VALUE), seal_context(object)) : std::nullopt;
  if (!value) {
    throw Failure(CKR_DEVICE_ERROR, "the sealed value of object " + std::to_string(object) +
                                        " cannot be opened: the store is damaged or from another device");
  }
  loaded.set(CKA_VALUE, *value);
}

Bytes ObjectStore::seal_value(CK_OBJECT_HANDLE object, const Bytes& value) const {
  if (!m_login) {
    throw Error(CKR_USER_NOT_LOGGED_IN, "a private value can only be stored for a logged-in user");
  }
  return seal(m_login->master_key, value, seal_context(object));
}

CK_OBJECT_HANDLE ObjectStore::next_match(const Attributes& wanted, CK_OBJECT_HANDLE after) {
  Attributes indexed;
  for (const auto& [type, value] : wanted) {
    if (is_indexed(type)) {
      indexed.set(type, value);
    }
  }
  CK_OBJECT_HANDLE found = after;
  do {
    found = next_in_index(indexed, found + 1);
  } while (found != 0 && !matches(found, wanted));
  return found;
}

// A damaged object matches: it has to be visible to be replaced or removed.
bool ObjectStore::matches(CK_OBJECT_HANDLE object, const Attributes& wanted) {
  try {
    const std::optional<Attributes> stored = load(object);
    return stored && std::all_of(wanted.begin(), wanted.end(), [&](const auto& attribute) {
             return stored->has(attribute.first) && stored->at(attribute.first) == attribute.second;
           });
  } catch (const DamagedObject&) {
    return true;
  }
}

// Each attribute in turn moves the candidate to the next object that has it, until all have the same
// candidate. The rarest attribute limits the number of rounds to the number of its objects.
CK_OBJECT_HANDLE ObjectStore::next_in_index(const Attributes& wanted, CK_OBJECT_HANDLE from) {
  if (wanted.empty()) {
    Query query = m_database.query("SELECT min(number) FROM object WHERE number BETWEEN ? AND ?");
    query.bind(row(from)).bind(row(m_numbers.last)).step();
    return static_cast<CK_OBJECT_HANDLE>(query.number(0));
  }
  CK_OBJECT_HANDLE candidate = from;
  for (auto next = wanted.begin(), first_to_agree = wanted.end(); next != first_to_agree;) {
    Query query = m_database.query(
        "SELECT min(object) FROM attribute_index WHERE type = ? AND value = ? AND object BETWEEN ? AND ?");
    query.bind(row(next->first)).bind(next->second).bind(row(candidate)).bind(row(m_numbers.last)).step();
    const auto found = static_cast<CK_OBJECT_HANDLE>(query.number(0));
    if (found == 0) {
      return 0;
    }
    if (found != candidate || first_to_agree == wanted.end()) {
      first_to_agree = next;
      candidate = found;
    }
    if (++next == wanted.end()) {
      next = wanted.begin();
    }
  }
  return candidate;
}

}  // namespace tee_token
