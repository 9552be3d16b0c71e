// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/module.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "crypto/openssl_handles.h"

namespace tee_token {
namespace {

// Ready before the first call, and not destroyed: a program may call the module while it exits.
std::mutex g_mutex;
std::atomic<::pthread_t> g_calling_thread;
Module* g_module = nullptr;
bool g_has_ended = false;

// The child inherits neither the module (its database connection must not be closed there) nor the login.
void leave_to_parent() {
  if (g_module != nullptr) {
    g_module->token().forget_login();
  }
  g_module = nullptr;
  Libcrypto::leave_to_parent();
  g_mutex.unlock();
}

bool add_fork_handlers() {
  return ::pthread_atfork([] { g_mutex.lock(); }, [] { g_mutex.unlock(); }, leave_to_parent) == 0;
}

// At load, before another thread can hold the mutex while this one forks.
bool g_has_fork_handlers = add_fork_handlers();

/// Called when the program ends libcrypto, at the latest when it exits.
void end() {
  const CallLock lock;
  if (!lock.is_nested()) {
    g_has_ended = true;
    Module::finalise();
  }
}

void require_handlers() {
  static bool has_end_handler = false;
  g_has_fork_handlers = g_has_fork_handlers || add_fork_handlers();
  has_end_handler = has_end_handler || OPENSSL_atexit(end) == 1;
  if (!g_has_fork_handlers || !has_end_handler) {
    throw std::bad_alloc();
  }
}

}  // namespace

CallLock::CallLock() noexcept : m_is_nested(g_calling_thread == ::pthread_self()) {
  if (!m_is_nested) {
    g_mutex.lock();
    g_calling_thread = ::pthread_self();
  }
}

CallLock::~CallLock() {
  if (!m_is_nested) {
    g_calling_thread = ::pthread_t();
    g_mutex.unlock();
  }
}

Module::Module(DeviceFolder folder) : m_token(std::move(folder)), m_token_was_present(m_token.is_present()) {}

Module* Module::current() noexcept { return g_module; }

Module& Module::required() {
  if (g_module == nullptr) {
    throw Error(CKR_CRYPTOKI_NOT_INITIALIZED, "call C_Initialize first, in each process");
  }
  return *g_module;
}

void Module::initialise() {
  if (g_module != nullptr) {
    throw Error(CKR_CRYPTOKI_ALREADY_INITIALIZED, "call C_Finalize first");
  }
  if (g_has_ended || OPENSSL_init_crypto(0, nullptr) != 1) {
    throw Failure(CKR_GENERAL_ERROR, "the program exits, or it has ended libcrypto");
  }
  require_handlers();
  g_module = new Module(DeviceFolder::of_environment());
}

void Module::finalise() { delete std::exchange(g_module, nullptr); }

void Module::require_slot(CK_SLOT_ID slot) {
  if (slot != kSlot) {
    throw Error(CKR_SLOT_ID_INVALID, "there is no slot " + std::to_string(slot));
  }
}

Token& Module::token_in(CK_SLOT_ID slot) {
  require_slot(slot);
  m_token.folder().require_exists();
  return m_token;
}

CK_SESSION_HANDLE Module::open_session(CK_SLOT_ID slot, CK_FLAGS flags) {
  if ((flags & CKF_SERIAL_SESSION) == 0) {
    throw Error(CKR_SESSION_PARALLEL_NOT_SUPPORTED, "CKF_SERIAL_SESSION must be set");
  }
  token_in(slot).require_initialised();
  const bool read_write = (flags & CKF_RW_SESSION) != 0;
  if (!read_write && m_token.is_logged_in(User::kSecurityOfficer)) {
    throw Error(CKR_SESSION_READ_WRITE_SO_EXISTS,
                "while the security officer is logged in, sessions must be read-write");
  }
  ++m_last_handle;
  m_sessions.try_emplace(m_last_handle, m_last_handle, read_write, m_token);
  return m_last_handle;
}

Session& Module::session(CK_SESSION_HANDLE handle) {
  const auto found = m_sessions.find(handle);
  if (found == m_sessions.end()) {
    throw Error(CKR_SESSION_HANDLE_INVALID, "there is no session " + std::to_string(handle));
  }
  return found->second;
}

void Module::close_session(CK_SESSION_HANDLE handle) {
  session(handle);
  m_token.objects().end_session(handle);
  m_sessions.erase(handle);
  if (m_sessions.empty()) {
    m_token.log_out();
  }
}

void Module::close_all_sessions() {
  while (!m_sessions.empty()) {
    close_session(m_sessions.begin()->first);
  }
}

CK_ULONG Module::session_count(bool read_write_only) const {
  return static_cast<CK_ULONG>(std::count_if(m_sessions.begin(), m_sessions.end(), [&](const auto& entry) {
    return !read_write_only || entry.second.is_read_write();
  }));
}

void Module::log_in(CK_USER_TYPE type, ByteView pin) {
  if (type == CKU_CONTEXT_SPECIFIC) {
    throw Error(CKR_OPERATION_NOT_INITIALIZED, "no key of the token needs its PIN at each use");
  }
  if (type != CKU_USER && type != CKU_SO) {
    throw Error(CKR_USER_TYPE_INVALID, "the user type must be CKU_USER or CKU_SO");
  }
  const User user = type == CKU_SO ? User::kSecurityOfficer : User::kUser;
  if (m_token.login()) {
    throw Error(m_token.is_logged_in(user) ? CKR_USER_ALREADY_LOGGED_IN : CKR_USER_ANOTHER_ALREADY_LOGGED_IN,
                "call C_Logout first");
  }
  if (user == User::kSecurityOfficer && session_count(true) != session_count(false)) {
    throw Error(CKR_SESSION_READ_ONLY_EXISTS,
                "the security officer cannot log in while a read-only session is open");
  }
  m_token.log_in(user, pin);
}

void Module::log_out() {
  if (!m_token.login()) {
    throw Error(CKR_USER_NOT_LOGGED_IN, "nobody is logged in");
  }
  for (auto& [number, open] : m_sessions) {
    open.end_operation();
  }
  m_token.log_out();
}

bool Module::take_slot_event() {
  const bool is_present = m_token.is_present();
  return std::exchange(m_token_was_present, is_present) != is_present;
}

}  // namespace tee_token
