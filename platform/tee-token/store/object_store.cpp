// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/object_store.h"

#include <algorithm>

#include "base/error.h"
#include "crypto/sealing.h"

namespace tee_token {
namespace {

sqlite3_int64 row(CK_ULONG number) { return static_cast<sqlite3_int64>(number); }

Bytes seal_context(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
  Bytes context = bytes_of(object);
  const Bytes second = bytes_of(type);
  context.insert(context.end(), second.begin(), second.end());
  return context;
}

bool has_layouts(const Attributes& attributes) {
  return std::all_of(attributes.begin(), attributes.end(), [](const auto& attribute) {
    const AttributeRule* const rule = find_rule(attribute.first);
    return rule != nullptr && has_layout(*rule, attribute.second);
  });
}

bool has_what_every_object_has(const Attributes& attributes) {
  const Classes object_class = bit_of(attributes.number(CKA_CLASS));
  const AttributeRules rules;
  return std::all_of(rules.begin(), rules.end(), [&](const AttributeRule& rule) {
    const bool must = rule.fallback == Default::kRequired || rule.fallback == Default::kContent;
    return !must || (rule.classes & object_class) == 0 || attributes.has(rule.type);
  });
}

// A MAC says that these are the attributes that the token once stored. Where there is none, this must do.
bool has_form(const Attributes& attributes) {
  try {
    return has_layouts(attributes) && has_what_every_object_has(attributes);
  } catch (const Error&) {  // there is no class, or one that is not kept here
    return false;
  }
}

}  // namespace

DamagedObject::DamagedObject(CK_OBJECT_HANDLE object)
    : Failure(CKR_DEVICE_ERROR, "object " + std::to_string(object) +
                                    " of the store is damaged; to remove it: tee-token destroy --force " +
                                    std::to_string(object)) {}

Bytes ObjectStore::mac_key(const Bytes& device_key, const Bytes& serial) {
  return derive_key(device_key, serial, std::string("tee-token objects"));
}

void ObjectStore::create_schema(Database& database, CK_OBJECT_HANDLE first) {
  // AUTOINCREMENT: a number is never given again, also not after the last object is gone.
  // The index leaves out CKA_VALUE (17): certificates would double the store, sealed values match nothing.
  database.execute(
      "CREATE TABLE object (number INTEGER PRIMARY KEY AUTOINCREMENT, session INTEGER NOT NULL, mac BLOB);"
      "CREATE TABLE attribute (object INTEGER NOT NULL, type INTEGER NOT NULL, value BLOB NOT NULL,"
      " PRIMARY KEY (object, type)) WITHOUT ROWID;"
      "CREATE INDEX attribute_by_value ON attribute (type, value, object) WHERE type <> 17;");
  database.query("INSERT INTO sqlite_sequence (name, seq) VALUES ('object', ?)").bind(row(first - 1)).run();
}

CK_OBJECT_HANDLE ObjectStore::insert(const Attributes& object, CK_SESSION_HANDLE session) {
  m_database.query("INSERT INTO object (session) VALUES (?)").bind(row(session)).run();
  const auto number = static_cast<CK_OBJECT_HANDLE>(m_database.last_row());
  const Attributes stored = sealed(number, object, object.is_true(CKA_PRIVATE));
  write(number, stored);
  authenticate(number, stored);
  return number;
}

void ObjectStore::update(CK_OBJECT_HANDLE object, const Attributes& changes) {
  Attributes stored = load(object).value();
  const Attributes changed = sealed(object, changes, stored.is_true(CKA_PRIVATE));
  write(object, changed);
  for (const auto& [type, value] : changed) {
    stored.set(type, value);
  }
  authenticate(object, stored);
}

void ObjectStore::erase(CK_OBJECT_HANDLE object) {
  m_database.query("DELETE FROM attribute WHERE object = ?").bind(row(object)).run();
  m_database.query("DELETE FROM object WHERE number = ?").bind(row(object)).run();
}

void ObjectStore::erase_all() { m_database.execute("DELETE FROM attribute; DELETE FROM object;"); }

void ObjectStore::erase_of(CK_SESSION_HANDLE session) {
  m_database.query("DELETE FROM attribute WHERE object IN (SELECT number FROM object WHERE session = ?)")
      .bind(row(session))
      .run();
  m_database.query("DELETE FROM object WHERE session = ?").bind(row(session)).run();
}

std::optional<Attributes> ObjectStore::load(CK_OBJECT_HANDLE object) {
  Attributes attributes = attributes_of(object);
  if (!attributes.empty() && is_sound(object, attributes)) {
    return attributes;
  }
  const bool is_there = m_database.query("SELECT 1 FROM object WHERE number = ?").bind(row(object)).step();
  if (is_there || !attributes.empty()) {
    throw DamagedObject(object);
  }
  return std::nullopt;
}

void ObjectStore::unseal(CK_OBJECT_HANDLE object, Attributes& loaded) const {
  if (!loaded.is_true(CKA_PRIVATE) || !loaded.has(CKA_VALUE)) {
    return;
  }
  const auto value = m_master_key.empty() ? std::nullopt
                                          : tee_token::unseal(m_master_key, loaded.at(CKA_VALUE),
                                                              seal_context(object, CKA_VALUE));
  if (!value) {
    throw Failure(CKR_DEVICE_ERROR, "the sealed value of object " + std::to_string(object) +
                                        " cannot be opened: the store is damaged or from another device");
  }
  loaded.set(CKA_VALUE, *value);
}

CK_OBJECT_HANDLE ObjectStore::next_match(const Attributes& wanted, CK_OBJECT_HANDLE after) {
  CK_OBJECT_HANDLE candidate = after + 1;
  if (wanted.empty()) {
    Query query = m_database.query("SELECT min(number) FROM object WHERE number >= ?");
    return query.bind(row(candidate)).step() ? static_cast<CK_OBJECT_HANDLE>(query.number(0)) : 0;
  }
  // Each attribute in turn says which object is the next that it could agree to. The search is over when all
  // agree, after at most as many rounds as the rarest attribute has objects.
  std::size_t agreeing = 0;
  for (auto next = wanted.begin(); agreeing < wanted.size();) {
    const CK_OBJECT_HANDLE found = seek(next->first, next->second, candidate);
    if (found == 0) {
      return 0;
    }
    agreeing = found == candidate ? agreeing + 1 : 1;
    candidate = found;
    if (++next == wanted.end()) {
      next = wanted.begin();
    }
  }
  return candidate;
}

CK_OBJECT_HANDLE ObjectStore::seek(CK_ATTRIBUTE_TYPE type, ByteView value, CK_OBJECT_HANDLE from) {
  // "type <> 17" tells SQLite that the partial index serves.
  Query query = m_database.query(
      "SELECT object FROM attribute WHERE type = ? AND value = ? AND object >= ? AND type <> 17"
      " ORDER BY object LIMIT 1");
  return query.bind(row(type)).bind(value).bind(row(from)).step()
             ? static_cast<CK_OBJECT_HANDLE>(query.number(0))
             : 0;
}

Attributes ObjectStore::sealed(CK_OBJECT_HANDLE object, Attributes attributes, bool is_private) const {
  if (is_private && attributes.has(CKA_VALUE)) {
    if (m_master_key.empty()) {
      throw Error(CKR_USER_NOT_LOGGED_IN, "a private value can only be stored for a logged-in user");
    }
    attributes.set(CKA_VALUE, seal(m_master_key, attributes.at(CKA_VALUE), seal_context(object, CKA_VALUE)));
  }
  return attributes;
}

void ObjectStore::write(CK_OBJECT_HANDLE object, const Attributes& sealed) {
  for (const auto& [type, value] : sealed) {
    m_database.query("INSERT OR REPLACE INTO attribute (object, type, value) VALUES (?, ?, ?)")
        .bind(row(object))
        .bind(row(type))
        .bind(value)
        .run();
  }
}

Attributes ObjectStore::attributes_of(CK_OBJECT_HANDLE object) {
  Attributes attributes;
  Query query = m_database.query("SELECT type, value FROM attribute WHERE object = ?");
  query.bind(row(object));
  while (query.step()) {
    attributes.set(static_cast<CK_ATTRIBUTE_TYPE>(query.number(0)), query.bytes(1));
  }
  return attributes;
}

bool ObjectStore::is_sound(CK_OBJECT_HANDLE object, const Attributes& attributes) {
  if (m_mac_key.empty()) {
    return m_database.query("SELECT 1 FROM object WHERE number = ?").bind(row(object)).step() &&
           has_form(attributes);
  }
  Query query = m_database.query("SELECT session, mac FROM object WHERE number = ?");
  return query.bind(row(object)).step() && mac_of(object, query.number(0), attributes).is(query.bytes(1));
}

Mac ObjectStore::mac_of(CK_OBJECT_HANDLE object, sqlite3_int64 session, const Attributes& attributes) const {
  Mac mac(m_mac_key);
  mac.add(object).add(static_cast<std::uint64_t>(session));
  for (const auto& [type, value] : attributes) {
    mac.add(type).add(value);
  }
  return mac;
}

void ObjectStore::authenticate(CK_OBJECT_HANDLE object, const Attributes& stored) {
  if (m_mac_key.empty()) {
    return;
  }
  // Objects that are authenticated are the token's, and so of no session.
  m_database.query("UPDATE object SET mac = ? WHERE number = ?")
      .bind(mac_of(object, 0, stored).result())
      .bind(row(object))
      .run();
}

}  // namespace tee_token
