// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/device_folder.h"
#include "store/object_space.h"
#include "store/read_cache.h"
#include "store/token_record.h"

namespace tee_token {

/// The token in the slot: its store, its users and their PINs, its objects.
class Token {
 public:
  explicit Token(DeviceFolder folder) : m_folder(std::move(folder)) {}
  Token(const Token&) = delete;
  Token& operator=(const Token&) = delete;

  const DeviceFolder& folder() const { return m_folder; }
  bool is_present() const { return m_folder.exists(); }

  bool is_initialised() { return known() != nullptr || find_store() != nullptr; }
  /// Throws a Failure (CKR_TOKEN_NOT_RECOGNIZED) unless the token is initialised.
  void require_initialised();

  /// The record of an initialised token, as it is now: other processes may have changed it.
  TokenRecord record();

  /// C_InitToken: makes the token and its folder. If the token is initialised already, all its objects and
  /// the user's PIN are deleted, and `officer_pin` must be its security officer's PIN.
  void initialise(ByteView officer_pin, ByteView label);

  /// C_Login. Throws a Failure: CKR_PIN_INCORRECT, CKR_PIN_LOCKED, CKR_USER_PIN_NOT_INITIALIZED.
  void log_in(User user, ByteView pin);
  void log_out();
  /// Removes the secrets of the login from a forked child; the store is not touched.
  void forget_login() { m_login.reset(); }
  const std::optional<Login>& login() const { return m_login; }
  bool is_logged_in(User user) const { return is_login_of(m_login, user); }

  /// C_InitPIN, for the logged-in security officer.
  void set_user_pin(ByteView pin);
  /// C_SetPIN: changes the PIN of the security officer if he is logged in, otherwise that of the user.
  void change_pin(ByteView old_pin, ByteView new_pin);

  /// ObjectSpace::find, as it is now; within an ObjectChange, with its changes.
  std::optional<Attributes> find(CK_OBJECT_HANDLE object);
  /// The same, but throws CKR_OBJECT_HANDLE_INVALID instead of returning nothing.
  Attributes require(CK_OBJECT_HANDLE object);
  /// ObjectSpace::search in the token and then in the sessions.
  std::vector<CK_OBJECT_HANDLE> search(const Attributes& wanted, CK_OBJECT_HANDLE after, std::size_t limit);

  /// To be used within an ObjectChange, except to end a session.
  ObjectSpace& objects() { return m_objects; }

 private:
  friend class ObjectChange;
  class View;

  Database* find_store();
  Database& store();
  Database& database_of(Place place);
  TokenRecord load_record();
  const ReadCache* known();
  std::vector<CK_OBJECT_HANDLE> search_store(const ReadCache::Search& search);
  bool make_store(ByteView officer_pin, ByteView label);
  void clear_store(ByteView officer_pin, ByteView label);

  DeviceFolder m_folder;
  std::optional<Login> m_login;
  StoreWatch m_watch;               // closed after the store, whose locks it would release
  std::optional<Database> m_store;  // opened when first needed; always a token's store
  Bytes m_record_key;               // derived when first needed
  Bytes m_serial;                   // of the token whose objects m_objects has
  ObjectSpace m_objects{m_login};
};

/// A change of the objects in one place: one transaction, undone unless it is committed. Throws a Failure
/// (CKR_DEVICE_REMOVED) when another process has initialised the token anew since the login.
class ObjectChange {
 public:
  ObjectChange(Token& token, Place place) : m_change(token.database_of(place)) { token.load_record(); }

  /// Makes the change durable.
  void commit() { m_change.commit(); }

 private:
  Change m_change;
};

}  // namespace tee_token
