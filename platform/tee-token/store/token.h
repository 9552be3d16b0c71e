// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/device_folder.h"
#include "store/object_space.h"
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

  bool is_initialised() { return find_store() != nullptr; }
  /// Throws a Failure (CKR_TOKEN_NOT_RECOGNIZED) unless the token is initialised.
  void require_initialised() { store(); }

  /// The record of an initialised token, read anew: other processes may have changed it.
  TokenRecord record();

  /// C_InitToken: makes the token, its folder included. Of a token that is initialised already all objects
  /// and the user's PIN are deleted; `officer_pin` must then be its security officer's PIN.
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
  /// C_SetPIN: of the security officer when he is logged in, of the user otherwise.
  void change_pin(ByteView old_pin, ByteView new_pin);

  /// Within an ObjectChange or ObjectView, except for the end of a session.
  ObjectSpace& objects() { return m_objects; }

 private:
  friend class ObjectChange;
  friend class ObjectView;

  /// The key of the token record, valid as long as the store has this serial number.
  struct StoreKeys {
    Bytes serial;
    Bytes record_key;
  };

  Database* find_store();
  Database& store();
  Database& database_of(Place place);
  void load_keys();
  bool make_store(ByteView officer_pin, ByteView label);
  void clear_store(ByteView officer_pin, ByteView label);

  DeviceFolder m_folder;
  std::optional<Login> m_login;
  std::optional<Database> m_store;  // only a token's
  std::optional<StoreKeys> m_keys;  // none until the store is first used
  ObjectSpace m_objects{m_login};
};

/// A change of the objects in one place: one transaction, undone unless it is committed. Throws a Failure
/// (CKR_DEVICE_REMOVED) when another process has initialised the token anew since the login.
class ObjectChange {
 public:
  ObjectChange(Token& token, Place place) : m_change(token.database_of(place)) { token.load_keys(); }

  /// Makes the change durable.
  void commit() { m_change.commit(); }

 private:
  Change m_change;
};

/// Several reads of one state of the token's store. Throws as ObjectChange does.
class ObjectView {
 public:
  explicit ObjectView(Token& token) : m_snapshot(token.store()) { token.load_keys(); }

 private:
  Snapshot m_snapshot;
};

}  // namespace tee_token
