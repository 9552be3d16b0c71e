// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Botan {
namespace PKCS11 {

class Module;
class ModuleHold;

// A Slot refers to its Module, a Session to its Slot, an Object to its Session. The one referred to must live
// longer and must not be moved.

/// A PKCS#11 library, loaded and initialized.
class BOTAN_PKCS11_API Module final {
 public:
  /// Loads the library at `file_path` and initializes it. Throws Invalid_Argument if the path is empty or the
  /// library is not a PKCS#11 library, System_Error if it cannot be loaded, PKCS11_ReturnError if it cannot
  /// be initialized, or was initialized in this process already.
  Module(const std::string& file_path,
         C_InitializeArgs init_args = {nullptr, nullptr, nullptr, nullptr,
                                       static_cast<CK_FLAGS>(Flag::OsLockingOk), nullptr});

  /// As above, with three differences:
  ///
  /// An empty path means the platform's token: the module that the environment variable TEE_PKCS11_MODULE
  /// names (ignored in programs that run with raised privileges), else libteetoken.so beside this library,
  /// else libteetoken.so where the loader finds it.
  ///
  /// `low_level`, unless it is null, is copied and used in place of the loaded library's function list.
  ///
  /// A process has at most one Module made by this constructor: a second call waits until the first Module is
  /// destroyed, on whatever thread. A moved Module counts as the same one; a forked child does not inherit
  /// it. Throws Invalid_State, instead of waiting forever, on the thread that constructed the first one.
  Module(const std::string& file_path, C_InitializeArgs init_args, LowLevel* low_level);

  /// `other` can only be destroyed afterwards.
  Module(Module&& other) noexcept;
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  Module& operator=(Module&&) = delete;

  /// Finalizes the library, as `clean_up` does, and unloads it.
  ~Module() noexcept;

  /// Finalizes the library, loads it again and initializes it. Sessions opened before are closed.
  void reload(C_InitializeArgs init_args = {nullptr, nullptr, nullptr, nullptr,
                                            static_cast<CK_FLAGS>(Flag::OsLockingOk), nullptr});

  LowLevel* operator->() const { return m_low_level.get(); }

  Info get_info() const;

  /// For destructors: passes the token to `call` and drops what it throws. Does nothing in a forked child
  /// that inherited this Module: sessions and operations are the parent's, and their handles may be in use
  /// here.
  template <typename Call>
  void clean_up(Call call) const noexcept {
    if (m_low_level == nullptr || m_generation != generation()) {
      return;
    }
    try {
      call(*m_low_level);
    } catch (...) {
      // a destructor cannot report it
    }
  }

 private:
  friend class VendorInterface;

  /// Of this process: a forked child is of the next one.
  static uint64_t generation();

  std::unique_ptr<ModuleHold> m_hold;  // first, so that it is destroyed last
  std::string m_file_path;
  std::unique_ptr<LowLevel> m_given_low_level;
  std::unique_ptr<Dynamically_Loaded_Library> m_library;
  std::unique_ptr<LowLevel> m_low_level;
  uint64_t m_generation = 0;  // of the process that loaded the library
};

/// A slot, with or without a token. The constructor does not call the token.
class BOTAN_PKCS11_API Slot final {
 public:
  Slot(Module& module, SlotId slot_id) : m_module(module), m_slot_id(slot_id) {}

  static std::vector<SlotId> get_available_slots(Module& module, bool token_present);

  Module& module() const { return m_module; }
  SlotId slot_id() const { return m_slot_id; }

  SlotInfo get_slot_info() const;
  std::vector<MechanismType> get_mechanism_list() const;
  MechanismInfo get_mechanism_info(MechanismType mechanism_type) const;
  TokenInfo get_token_info() const;

  /// Initializes the token, which deletes all its objects. Does not set the user's PIN: see initialize_token.
  void initialize(const std::string& label, const secure_string& so_pin) const;

 private:
  Module& m_module;
  const SlotId m_slot_id;
};

/// A session with a token. All sessions of a process with one token share the login: they are logged in when
/// one is, and logged out when one is, or when the session that logged in is destroyed.
class BOTAN_PKCS11_API Session final {
 public:
  Session(Slot& slot, bool read_only);

  /// `flags` has to contain Flag::SerialSession, as the standard requires.
  Session(Slot& slot, Flags flags, VoidPtr callback_data, Notify notify_callback);

  /// Takes over an open session, and the login if there is one.
  Session(Slot& slot, SessionHandle handle);

  Session(Session&& other) noexcept;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  Session& operator=(Session&&) = delete;

  /// Logs out if this session logged in, and closes the session, by `Module::clean_up`.
  ~Session() noexcept;

  /// Returns the handle and leaves the session open.
  SessionHandle release();

  void login(UserType user_type, const secure_string& pin);
  void logoff();
  SessionInfo get_info() const;

  /// Changes the PIN of the user that is logged in.
  void set_pin(const secure_string& old_pin, const secure_string& new_pin) const;

  /// Sets the user's PIN. The security officer must be logged in.
  void init_pin(const secure_string& new_pin);

  const Slot& slot() const { return m_slot; }
  SessionHandle handle() const { return m_handle; }
  Module& module() const { return m_slot.module(); }

 private:
  const Slot& m_slot;
  SessionHandle m_handle = 0;
  bool m_logged_in = false;
};

}  // namespace PKCS11
}  // namespace Botan
