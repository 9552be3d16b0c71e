#include "object_store.h"

#include <algorithm>

#include "error.h"
#include "sealing.h"

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

// The file may have been written to by others: what is read from it is checked before it is relied on.
void require_sound(CK_OBJECT_HANDLE object, const Attributes& attributes) {
  try {
    if (has_layouts(attributes) && has_what_every_object_has(attributes)) {
      return;
    }
  } catch (const Error&) {  // there is no class, or one that is not kept here
  }
  throw damaged_object(object);
}

}  // namespace

Failure damaged_object(CK_OBJECT_HANDLE object) {
  return Failure(CKR_DEVICE_ERROR, "object " + std::to_string(object) + " of the store is damaged");
}

void ObjectStore::create_schema(Database& database, CK_OBJECT_HANDLE first) {
  // AUTOINCREMENT: a number is never given again, also not after the last object is gone.
  // The index leaves out CKA_VALUE (17): certificates would double the store, sealed values match nothing.
  database.execute(
      "CREATE TABLE object (number INTEGER PRIMARY KEY AUTOINCREMENT, session INTEGER NOT NULL);"
      "CREATE TABLE attribute (object INTEGER NOT NULL, type INTEGER NOT NULL, value BLOB NOT NULL,"
      " PRIMARY KEY (object, type)) WITHOUT ROWID;"
      "CREATE INDEX attribute_by_value ON attribute (type, value, object) WHERE type <> 17;");
  database.query("INSERT INTO sqlite_sequence (name, seq) VALUES ('object', ?)").bind(row(first - 1)).run();
}

CK_OBJECT_HANDLE ObjectStore::insert(const Attributes& object, CK_SESSION_HANDLE session) {
  m_database.query("INSERT INTO object (session) VALUES (?)").bind(row(session)).run();
  const auto number = static_cast<CK_OBJECT_HANDLE>(m_database.last_row());
  for (const auto& [type, value] : object) {
    write(number, type, value, object.is_true(CKA_PRIVATE));
  }
  return number;
}

void ObjectStore::update(CK_OBJECT_HANDLE object, const Attributes& changes) {
  const bool is_private = has(object, CKA_PRIVATE, Bytes(1, CK_TRUE));
  for (const auto& [type, value] : changes) {
    write(object, type, value, is_private);
  }
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

bool ObjectStore::contains(CK_OBJECT_HANDLE object) {
  return m_database.query("SELECT 1 FROM object WHERE number = ?").bind(row(object)).step();
}

bool ObjectStore::has(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, ByteView value) {
  return m_database
      .query("SELECT 1 FROM attribute WHERE object = ? AND type = ? AND value = ? AND type <> 17")
      .bind(row(object))
      .bind(row(type))
      .bind(value)
      .step();
}

bool ObjectStore::read(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, Bytes& value) {
  {
    Query query = m_database.query("SELECT value FROM attribute WHERE object = ? AND type = ?");
    if (!query.bind(row(object)).bind(row(type)).step()) {
      return false;
    }
    value = query.bytes(0);
  }
  if (type == CKA_VALUE && has(object, CKA_PRIVATE, Bytes(1, CK_TRUE))) {
    value = unsealed(object, type, value);
  }
  return true;
}

CK_ULONG ObjectStore::size_of(CK_OBJECT_HANDLE object) {
  Query query = m_database.query("SELECT sum(length(value) + 8) FROM attribute WHERE object = ?");
  return query.bind(row(object)).step() ? static_cast<CK_ULONG>(query.number(0)) : 0;
}

Attributes ObjectStore::stored(CK_OBJECT_HANDLE object) {
  Attributes attributes;
  Query query = m_database.query("SELECT type, value FROM attribute WHERE object = ?");
  query.bind(row(object));
  while (query.step()) {
    attributes.set(static_cast<CK_ATTRIBUTE_TYPE>(query.number(0)), query.bytes(1));
  }
  tee_token::require_sound(object, attributes);
  return attributes;
}

Attributes ObjectStore::load(CK_OBJECT_HANDLE object) {
  Attributes attributes = stored(object);
  if (attributes.has(CKA_VALUE) && attributes.is_true(CKA_PRIVATE)) {
    attributes.set(CKA_VALUE, unsealed(object, CKA_VALUE, attributes.at(CKA_VALUE)));
  }
  return attributes;
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

void ObjectStore::write(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, const Bytes& value,
                        bool is_private) {
  const bool sealed = is_private && type == CKA_VALUE;
  if (sealed && m_master_key.empty()) {
    throw Error(CKR_USER_NOT_LOGGED_IN, "a private value can only be stored for a logged-in user");
  }
  const Bytes stored = sealed ? seal(m_master_key, value, seal_context(object, type)) : value;
  m_database.query("INSERT OR REPLACE INTO attribute (object, type, value) VALUES (?, ?, ?)")
      .bind(row(object))
      .bind(row(type))
      .bind(stored)
      .run();
}

Bytes ObjectStore::unsealed(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, const Bytes& stored) const {
  const auto value =
      m_master_key.empty() ? std::nullopt : unseal(m_master_key, stored, seal_context(object, type));
  if (!value) {
    throw Failure(CKR_DEVICE_ERROR, "the sealed value of object " + std::to_string(object) +
                                        " does not open: the store is damaged or from another device");
  }
  return *value;
}

}  // namespace tee_token
