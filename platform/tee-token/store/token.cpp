// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/token.h"

#include <fcntl.h>

#include <algorithm>

#include "base/error.h"
#include "base/files.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

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
    const std::string path = m_folder.file(kStoreFile);
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

// Also derives the keys of the objects, which another process may have replaced with a new token: then a
// login is no longer valid.
TokenRecord Token::load_record() {
  Database& database = store();
  database.require_in_place();
  Bytes device_key;
  if (m_record_key.empty()) {
    device_key = m_folder.device_key();
    m_record_key = token_record_key(device_key);
  }
  TokenRecord record = load_token_record(database, m_record_key);
  if (m_login && m_login->serial != record.serial) {
    throw Failure(CKR_DEVICE_REMOVED, "another process has initialised the token again; log in");
  }
  if (m_serial != record.serial) {
    ObjectStore::last_number(database, kTokenNumbers);  // throws when the numbers are damaged
    const Bytes mac_key =
        ObjectStore::mac_key(device_key.empty() ? m_folder.device_key() : device_key, record.serial);
    m_objects.use_token_objects(ObjectStore(database, kTokenNumbers, mac_key, m_login));
    m_serial = record.serial;
  }
  return record;
}

/// Reads of one state of the store; within an ObjectChange, with its changes.
class Token::View {
 public:
  explicit View(Token& token)
      : m_is_in_change(token.store().is_in_transaction()),
        m_snapshot(token.store()),
        m_record(token.load_record()) {
    // Since the record was read, no other process can change the store.
    const auto stamp = m_is_in_change ? std::nullopt : token.m_watch.stamp_of(token.m_folder);
    std::optional<ReadCache>& cache = ReadCache::of_process();
    if (stamp && (!cache || cache->stamp != *stamp)) {
      cache.emplace(ReadCache{*stamp, m_record});
    }
    m_cache = stamp ? &*cache : nullptr;
  }

  const TokenRecord& record() const { return m_record; }
  /// Where to keep what is read; null when it must not be kept.
  ReadCache* cache() const { return m_cache; }

 private:
  const bool m_is_in_change;
  const Snapshot m_snapshot;
  const TokenRecord m_record;
  ReadCache* m_cache;
};

// What was read when the store was as it is now; null when it was not.
const ReadCache* Token::known() {
  const std::optional<ReadCache>& cache = ReadCache::of_process();
  const bool is_in_change = m_store && m_store->is_in_transaction();
  return cache && !is_in_change && m_watch.stamp_of(m_folder) == cache->stamp ? &*cache : nullptr;
}

void Token::require_initialised() {
  if (known() == nullptr) {
    store();
  }
}

TokenRecord Token::record() {
  const ReadCache* const cache = known();
  return cache != nullptr ? cache->record : View(*this).record();
}

std::optional<Attributes> Token::find(CK_OBJECT_HANDLE object) {
  const bool is_stored = place_of(object) == Place::kToken;
  const ReadCache* const cache = is_stored ? known() : nullptr;
  const Attributes* const known_object = cache == nullptr ? nullptr : cache->objects.find(object);
  if (known_object != nullptr) {
    return m_objects.visible(*known_object);
  }
  constexpr CK_ULONG kLongestKept = 65536;
  const View view(*this);
  std::optional<Attributes> found = m_objects.in(place_of(object)).load(object);
  if (is_stored && view.cache() != nullptr && found && found->size() <= kLongestKept) {
    view.cache()->objects.add(object, *found);
  }
  return m_objects.visible(std::move(found));
}

Attributes Token::require(CK_OBJECT_HANDLE object) {
  std::optional<Attributes> found = find(object);
  if (!found) {
    throw Error(CKR_OBJECT_HANDLE_INVALID, "it does not exist or is not visible");
  }
  return *std::move(found);
}

std::vector<CK_OBJECT_HANDLE> Token::search(const Attributes& wanted, CK_OBJECT_HANDLE after,
                                            std::size_t limit) {
  std::vector<CK_OBJECT_HANDLE> found;
  if (place_of(after) == Place::kToken) {
    found = search_store({wanted, after, limit, is_logged_in(User::kUser)});
  }
  const auto of_sessions = m_objects.search(Place::kSession, wanted,
                                            std::max(after, kSessionNumbers.first - 1), limit - found.size());
  found.insert(found.end(), of_sessions.begin(), of_sessions.end());
  return found;
}

std::vector<CK_OBJECT_HANDLE> Token::search_store(const ReadCache::Search& search) {
  const ReadCache* const cache = known();
  const auto* const known_answer = cache == nullptr ? nullptr : cache->searches.find(search);
  if (known_answer != nullptr) {
    return *known_answer;
  }
  constexpr std::size_t kMostKept = 1000;
  const View view(*this);
  auto found = m_objects.search(Place::kToken, search.wanted, search.after, search.limit);
  const bool may_be_kept =
      !search.wanted.has(CKA_VALUE) && found.size() <= kMostKept;  // a value may be a secret
  if (may_be_kept && view.cache() != nullptr) {
    view.cache()->searches.add(search, found);
  }
  return found;
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
  const std::string path = m_folder.file(kStoreFile);
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
  m_folder.require_wanted_device();
  const Bytes device_key = m_folder.device_key();
  const TokenRecord current = load_token_record(*m_store, token_record_key(device_key));
  unwrap_key(current.officer, device_key, m_folder, User::kSecurityOfficer, officer_pin);
  ObjectStore::erase_all(*m_store, kTokenNumbers);
  save_new_record(*m_store, device_key, officer_pin, label);
  change.commit();
}

void Token::log_in(User user, ByteView pin) {
  const TokenRecord current = record();
  const WrappedKey& wrapped = key_of(current, user);
  // What can fail with the right PIN comes first, so that it does not count as a try.
  std::shared_ptr<const KeyDevice> device = m_folder.device();
  const Bytes device_key = device->device_key();
  m_login = Login{user, unwrap_key(wrapped, device_key, m_folder, user, pin), current.serial, device};
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
  save_token_record(*m_store, current, m_record_key);
  change.commit();
  clear_tries(m_folder, User::kUser);
}

void Token::change_pin(ByteView old_pin, ByteView new_pin) {
  require_pin_length(new_pin);
  const User user = is_logged_in(User::kSecurityOfficer) ? User::kSecurityOfficer : User::kUser;
  ObjectChange change(*this, Place::kToken);
  TokenRecord current = record();
  const Bytes device_key = m_folder.device_key();
  const Bytes key = unwrap_key(key_of(current, user), device_key, m_folder, user, old_pin);
  const WrappedKey wrapped = wrap_key(key, device_key, user, new_pin);
  if (user == User::kUser) {
    current.user = wrapped;
  } else {
    current.officer = wrapped;
  }
  save_token_record(*m_store, current, m_record_key);
  change.commit();
}

}  // namespace tee_token
