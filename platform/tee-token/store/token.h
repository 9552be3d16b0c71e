// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "store/device_folder.h"
#include "store/object_space.h"
#include "store/store_version.h"
#include "store/token_record.h"

namespace tee_token {

/// The token in the slot: its store, its users and their PINs.
class Token {
 public:
  explicit Token(DeviceFolder folder) : m_folder(std::move(folder)) {}
  Token(const Token&) = delete;
  Token& operator=(const Token&) = delete;

  const DeviceFolder& folder() const { return m_folder; }
  bool is_present() const { return m_folder.exists(); }

  bool is_initialised();
  /// Throws a Failure (CKR_TOKEN_NOT_RECOGNIZED) unless the token is initialised.
  void require_initialised();

  /// The record of an initialised token, read anew: other processes may have changed it. Throws as
  /// require_same_token does.
  TokenRecord record();

  /// C_InitToken: makes the token, its folder included. Of one that is there already all objects and the
  /// user's PIN go, for which it asks for its officer's PIN.
  void initialise(ByteView officer_pin, ByteView label);

  /// C_Login. Throws a Failure: CKR_PIN_INCORRECT, CKR_PIN_LOCKED, CKR_USER_PIN_NOT_INITIALIZED.
  void log_in(User user, ByteView pin);
  void log_out();
  /// Leaves no secret of the login in a forked child; the store is not touched.
  void forget_login() { m_login = Login(); }
  const Login& login() const { return m_login; }

  /// To be called first within each change and each snapshot: finds the key that authenticates the objects of
  /// the store as it now is, and upgrades an old store within a change. Throws a Failure (CKR_DEVICE_REMOVED)
  /// when another process has initialised the token anew since the login: the keys that came with the login
  /// do not fit its store any more.
  void require_same_token();

  /// C_InitPIN, for the logged-in security officer.
  void set_user_pin(ByteView pin);
  /// C_SetPIN: of the security officer when he is logged in, of the user otherwise.
  void change_pin(ByteView old_pin, ByteView new_pin);

  /// The objects of an initialised token.
  ObjectSpace& objects();
  Database& store() { return *m_store; }

 private:
  /// By which it is seen that another process has changed the store as a whole.
  struct StoreMark {
    sqlite3_int64 version;
    Bytes serial;
  };

  void open_store_if_there();
  void bring_up_to_date();
  void adopt(StoreMark mark);
  void open_or_create_store();
  Bytes master_key(const TokenRecord& record, User user, ByteView pin);
  void clear_store(ByteView officer_pin);

  DeviceFolder m_folder;
  Login m_login;
  std::optional<Database> m_store;
  std::optional<StoreMark> m_mark;
  // What authenticates the records: nothing in version 1. They fit no store until require_same_token.
  Bytes m_record_key = Bytes(kKeyLength, 0), m_object_key = Bytes(kKeyLength, 0);
  std::optional<ObjectSpace> m_objects;
  bool m_is_initialised = false;  // once it is, it stays so
};

/// Bounds of a PIN's length, in bytes.
constexpr CK_ULONG kMinPinLength = 4, kMaxPinLength = 64;

}  // namespace tee_token
