// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/token.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "base/error.h"
#include "base/file_descriptor.h"
#include "store/store_upgrade.h"

namespace tee_token {
namespace {

constexpr char kStore[] = "token.db";

bool has_content(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && status.st_size > 0;
}

bool has_pin_length(ByteView pin) { return pin.size >= kMinPinLength && pin.size <= kMaxPinLength; }

void require_pin_length(ByteView pin) {
  if (!has_pin_length(pin)) {
    throw Failure(CKR_PIN_LEN_RANGE, "a PIN has " + std::to_string(kMinPinLength) + " to " +
                                         std::to_string(kMaxPinLength) + " bytes, not " +
                                         std::to_string(pin.size));
  }
}

Bytes new_serial() {
  constexpr char kDigits[] = "0123456789abcdef";
  Bytes serial;
  for (const std::uint8_t byte : random_bytes(8)) {
    serial.push_back(static_cast<std::uint8_t>(kDigits[byte >> 4]));
    serial.push_back(static_cast<std::uint8_t>(kDigits[byte & 15]));
  }
  return serial;
}

const WrappedKey& key_of(const TokenRecord& record, User user) {
  if (user == User::kUser && !record.user) {
    throw Failure(CKR_USER_PIN_NOT_INITIALIZED,
                  "the user has no PIN yet; the security officer sets one: tee-token reset-pin");
  }
  return user == User::kUser ? *record.user : record.officer;
}

}  // namespace

bool Token::is_initialised() {
  open_store_if_there();
  if (!m_is_initialised && m_store && is_token_store(*m_store)) {
    bring_up_to_date();
    m_is_initialised = true;
  }
  return m_is_initialised;
}

void Token::open_store_if_there() {
  if (m_store) {
    return;
  }
  m_folder.require_private();
  const std::string path = m_folder.file(kStore);
  if (has_content(path)) {
    require_private_file(path);
    m_store.emplace(path);
  }
}

void Token::bring_up_to_date() {
  const bool is_old = store_version(*m_store, m_folder) < kStoreVersion;
  try {
    if (is_old) {
      Change change(*m_store);
      require_same_token();
      change.commit();  // of nothing, when SQLite could open the store for reading only
    }
    note_store_version(*m_store, m_folder);
  } catch (const Failure&) {
    // On a medium that is read-only or full it can be read as it is. The next program tries again.
  }
}

void Token::require_initialised() {
  if (!is_initialised()) {
    throw Failure(CKR_TOKEN_NOT_RECOGNIZED, "the token is not initialised; run: tee-token init");
  }
}

TokenRecord Token::record() {
  require_initialised();
  const Snapshot snapshot(*m_store);
  require_same_token();
  return load_token_record(*m_store, m_record_key);
}

ObjectSpace& Token::objects() {
  if (!m_objects) {
    require_initialised();
    m_objects.emplace(*m_store, m_login, m_object_key);
  }
  return *m_objects;
}

Bytes Token::master_key(const TokenRecord& record, User user, ByteView pin) {
  // What can fail without a word on the PIN comes first: only a PIN that is judged counts as a try.
  const WrappedKey& wrapped = key_of(record, user);
  const Bytes device_key = m_folder.device_key();
  if (!has_pin_length(pin)) {
    throw Failure(CKR_PIN_INCORRECT, "a PIN has 4 to 64 bytes, not " + std::to_string(pin.size) +
                                         "; this was not counted as a try");
  }
  PinTry attempt(m_folder, user);
  std::optional<Bytes> key = unwrap_key(wrapped, device_key, user, pin);
  if (!key) {
    attempt.was_wrong();
    throw Failure(CKR_PIN_INCORRECT, std::string("this is not the PIN of the ") + name_of(user) +
                                         "; tries left: " + std::to_string(attempt.left()));
  }
  attempt.was_right();
  return *key;
}

void Token::initialise(ByteView officer_pin, ByteView label) {
  require_pin_length(officer_pin);
  m_folder.make_if_absent();
  if (!is_initialised()) {
    open_or_create_store();
  }
  Change change(*m_store);
  clear_store(officer_pin);
  const Bytes device_key = m_folder.device_key();
  const WrappedKey officer =
      wrap_key(random_bytes(kKeyLength), device_key, User::kSecurityOfficer, officer_pin);
  save_token_record(*m_store, {label.copy(), new_serial(), officer, std::nullopt}, record_key(device_key));
  change.commit();
}

void Token::open_or_create_store() {
  open_store_if_there();
  if (!m_store) {
    // SQLite makes its other files like this one: for the owner alone.
    open_private_file(m_folder.file(kStore), O_RDWR | O_CREAT);
    m_store.emplace(m_folder.file(kStore));
  }
}

void Token::clear_store(ByteView officer_pin) {
  if (is_token_store(*m_store)) {
    master_key(record(), User::kSecurityOfficer, officer_pin);
    ObjectStore(*m_store, m_login.master_key, m_object_key).erase_all();
  } else {
    m_folder.make_device_key_if_absent();
    make_counters(m_folder, kStoreVersion);
    create_token_schema(*m_store);
    ObjectStore::create_schema(*m_store, 1);
  }
}

void Token::require_same_token() {
  m_store->require_in_place();
  const StoreMark now{store_version(*m_store, m_folder), token_serial(*m_store)};
  const bool is_same = m_mark && m_mark->serial == now.serial;
  if (m_login.who && !is_same) {
    throw Failure(CKR_DEVICE_REMOVED, "another process has initialised the token anew; log in again");
  }
  const bool can_upgrade = now.version < kStoreVersion && m_store->is_changing();
  if (!is_same || m_mark->version != now.version || can_upgrade) {
    adopt(now);
  }
}

void Token::adopt(StoreMark mark) {
  Bytes record_key, object_key;
  if (mark.version == kStoreVersion || m_store->is_changing()) {
    const Bytes device_key = m_folder.device_key();
    if (mark.version < kStoreVersion) {
      upgrade_store(*m_store, device_key);
      mark.version = kStoreVersion;
    }
    record_key = tee_token::record_key(device_key);
    load_token_record(*m_store, record_key);  // is authentic, and so is the serial number
    object_key = ObjectStore::mac_key(device_key, mark.serial);
  }
  m_record_key = std::move(record_key);
  m_object_key = std::move(object_key);
  m_mark = std::move(mark);
}

void Token::log_in(User user, ByteView pin) {
  const TokenRecord current = record();
  m_login = Login{user, master_key(current, user, pin)};
}

void Token::log_out() {
  if (m_objects) {
    m_objects->forget_private_session_objects();
  }
  m_login = Login();
}

void Token::set_user_pin(ByteView pin) {
  require_pin_length(pin);
  Change change(*m_store);
  TokenRecord current = record();
  current.user = wrap_key(m_login.master_key, m_folder.device_key(), User::kUser, pin);
  save_token_record(*m_store, current, m_record_key);
  change.commit();
  clear_tries(m_folder, User::kUser);
}

void Token::change_pin(ByteView old_pin, ByteView new_pin) {
  require_pin_length(new_pin);
  const User user = m_login.is(User::kSecurityOfficer) ? User::kSecurityOfficer : User::kUser;
  Change change(*m_store);
  TokenRecord current = record();
  const Bytes key = master_key(current, user, old_pin);
  const WrappedKey wrapped = wrap_key(key, m_folder.device_key(), user, new_pin);
  if (user == User::kUser) {
    current.user = wrapped;
  } else {
    current.officer = wrapped;
  }
  save_token_record(*m_store, current, m_record_key);
  change.commit();
}

}  // namespace tee_token
