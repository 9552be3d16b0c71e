// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/token.h"

#include <fcntl.h>

#include "base/error.h"
#include "base/files.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

constexpr char kStore[] = "token.db";

Bytes new_serial() {
  constexpr char kDigits[] = "0123456789abcdef";
  Bytes serial;
  for (const std::uint8_t byte : random_bytes(8)) {
    serial.push_back(static_cast<std::uint8_t>(kDigits[byte >> 4]));
    serial.push_back(static_cast<std::uint8_t>(kDigits[byte & 15]));
  }
  return serial;
}

/// Saves the record of a new token: a new serial number and master key, no PIN of the user.
void save_new_record(Database& store, const Bytes& device_key, ByteView officer_pin, ByteView label) {
  const WrappedKey officer =
      wrap_key(random_bytes(kKeyLength), device_key, User::kSecurityOfficer, officer_pin);
  save_token_record(store, {label.copy(), new_serial(), officer, std::nullopt}, token_record_key(device_key));
}

const WrappedKey& key_of(const TokenRecord& record, User user) {
  if (user == User::kUser && !record.user) {
    throw Failure(
        CKR_USER_PIN_NOT_INITIALIZED,
        "the user has no PIN yet; the security officer sets it: tee-token reset-pin --platform-pin");
  }
  return user == User::kUser ? *record.user : record.officer;
}

}  // namespace

Database* Token::find_store() {
  if (!m_store) {
    m_folder.require_private();
    const std::string path = m_folder.file(kStore);
    if (!find_status(path, AT_SYMLINK_NOFOLLOW)) {
      return nullptr;
    }
    require_private_file(path);
    Database found(path);
    if (!is_token_store(found)) {
      return nullptr;
    }
    m_store.emplace(std::move(found));
  }
  return &*m_store;
}

Database& Token::store() {
  Database* const found = find_store();
  if (found == nullptr) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the token is not initialised; run: tee-token init");
  }
  return *found;
}

Database& Token::database_of(Place place) {
  return place == Place::kToken ? store() : m_objects.in(place).database();
}

// Derives the keys of the store unless they are loaded. Another process may have initialised the token anew:
// then the keys are derived anew, and a login is no longer valid.
void Token::load_keys() {
  Database& database = store();
  database.require_in_place();
  const std::optional<Bytes> serial = token_serial(database);
  if (m_keys && serial == m_keys->serial) {
    return;
  }
  if (m_login) {
    throw Failure(CKR_DEVICE_REMOVED, "another process has initialised the token again; log in");
  }
  const Bytes device_key = m_folder.device_key();
  Bytes record_key = token_record_key(device_key);
  const TokenRecord record = load_token_record(database, record_key);  // authenticates the serial number
  ObjectStore::last_number(database, kTokenNumbers);                   // throws when the numbers are damaged
  m_objects.use_token_objects(
      ObjectStore(database, kTokenNumbers, ObjectStore::mac_key(device_key, record.serial), m_login));
  m_keys = StoreKeys{record.serial, std::move(record_key)};
}

TokenRecord Token::record() {
  const ObjectView view(*this);
  return load_token_record(*m_store, m_keys->record_key);
}

void Token::initialise(ByteView officer_pin, ByteView label) {
  require_pin_length(officer_pin);
  m_folder.make_if_absent();
  if (is_initialised() || !make_store(officer_pin, label)) {
    clear_store(officer_pin, label);
  }
}

// Returns false when another process has made the store meanwhile.
bool Token::make_store(ByteView officer_pin, ByteView label) {
  const std::string path = m_folder.file(kStore);
  open_private_file(path, O_RDWR | O_CREAT);  // SQLite makes its journal with the same mode
  Database made(path);
  Change change(made);
  if (is_token_store(made)) {
    return false;
  }
  m_folder.make_device_key_if_absent();
  make_counters(m_folder);
  create_tables(made);
  save_new_record(made, m_folder.device_key(), officer_pin, label);
  change.commit();
  return true;
}

void Token::clear_store(ByteView officer_pin, ByteView label) {
  Change change(store());  // no ObjectChange: the objects may be damaged
  m_store->require_in_place();
  const Bytes device_key = m_folder.device_key();
  const TokenRecord current = load_token_record(*m_store, token_record_key(device_key));
  unwrap_key(current.officer, m_folder, User::kSecurityOfficer, officer_pin);
  ObjectStore::erase_all(*m_store, kTokenNumbers);
  save_new_record(*m_store, device_key, officer_pin, label);
  change.commit();
}

void Token::log_in(User user, ByteView pin) {
  const TokenRecord current = record();
  m_login = Login{user, unwrap_key(key_of(current, user), m_folder, user, pin)};
}

void Token::log_out() {
  m_login.reset();  // first: nobody stays logged in when the objects cannot be removed
  m_objects.end_login();
}

void Token::set_user_pin(ByteView pin) {
  require_pin_length(pin);
  ObjectChange change(*this, Place::kToken);
  TokenRecord current = record();
  current.user = wrap_key(m_login->master_key, m_folder.device_key(), User::kUser, pin);
  save_token_record(*m_store, current, m_keys->record_key);
  change.commit();
  clear_tries(m_folder, User::kUser);
}

void Token::change_pin(ByteView old_pin, ByteView new_pin) {
  require_pin_length(new_pin);
  const User user = is_logged_in(User::kSecurityOfficer) ? User::kSecurityOfficer : User::kUser;
  ObjectChange change(*this, Place::kToken);
  TokenRecord current = record();
  const Bytes key = unwrap_key(key_of(current, user), m_folder, user, old_pin);
  const WrappedKey wrapped = wrap_key(key, m_folder.device_key(), user, new_pin);
  if (user == User::kUser) {
    current.user = wrapped;
  } else {
    current.officer = wrapped;
  }
  save_token_record(*m_store, current, m_keys->record_key);
  change.commit();
}

}  // namespace tee_token
