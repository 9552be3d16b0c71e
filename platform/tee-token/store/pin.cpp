// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/pin.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "base/error.h"
#include "base/files.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

bool has_pin_length(ByteView pin) { return pin.size >= kMinPinLength && pin.size <= kMaxPinLength; }

// No slow password hash: a PIN is too short for it to help. The device key and the counters protect the keys.
Bytes wrapping_key(const Bytes& device_key, const Bytes& salt, User user, ByteView pin) {
  Bytes info = ByteView(std::string("tee-token master key of the ") + name_of(user) + ":").copy();
  append(info, pin);
  return derive_key(device_key, salt, info);
}

/// The counters, open and locked until this object is destroyed.
class Counters {
 public:
  /// `lock_type` is F_RDLCK for reading, F_WRLCK for writing.
  Counters(const DeviceFolder& folder, short lock_type)
      : m_file(open_private_file(folder.file(kCounterFile), lock_type == F_RDLCK ? O_RDONLY : O_RDWR)) {
    lock(lock_type);
  }
  Counters(const Counters&) = delete;
  Counters& operator=(const Counters&) = delete;
  // A child that was forked meanwhile shares the open file, so closing it would not be enough to unlock.
  ~Counters() { set_lock(F_UNLCK); }

  std::uint8_t read(User user) const {
    std::uint8_t wrong = 0;
    if (::pread(m_file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
      throw Failure(CKR_DEVICE_ERROR, std::string(kCounterFile) +
                                          " is damaged: it must hold 2 bytes; write two zero bytes in it");
    }
    return std::min(wrong, kTries);
  }

  void write(User user, std::uint8_t wrong) const {
    if (::pwrite(m_file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
      fail_with_errno("write", kCounterFile);
    }
  }

  void sync() const {
    if (::fdatasync(m_file.get()) != 0) {
      fail_with_errno("sync", kCounterFile);
    }
  }

 private:
  // Locks belong to the open file, not to the process, so they separate threads and processes alike.
  bool set_lock(short type) const {
    struct flock whole {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return ::fcntl(m_file.get(), F_OFD_SETLK, &whole) == 0;
  }

  void lock(short type) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!set_lock(type)) {
      if (errno != EAGAIN && errno != EACCES && errno != EINTR) {
        fail_with_errno("lock", kCounterFile);
      }
      if (std::chrono::steady_clock::now() > deadline) {
        throw Failure(CKR_DEVICE_ERROR,
                      "another process has held the PIN counters for more than 5 s; try again");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  FileDescriptor m_file;
};

constexpr char kResetPin[] = "; the library needs the platform's PIN: tee-token reset-pin --platform-pin";

void require_unlocked(User user, std::uint8_t wrong) {
  if (wrong >= kTries) {
    throw Failure(CKR_PIN_LOCKED,
                  std::string("the ") + name_of(user) + " PIN is locked after " + std::to_string(kTries) +
                      " wrong tries" +
                      (user == User::kUser ? kResetPin : "; only a new token in an empty folder helps"));
  }
}

}  // namespace

const char* name_of(User user) { return user == User::kUser ? "user" : "security officer"; }

void require_pin_length(ByteView pin) {
  if (!has_pin_length(pin)) {
    throw Failure(CKR_PIN_LEN_RANGE, "a PIN has " + std::to_string(kMinPinLength) + " to " +
                                         std::to_string(kMaxPinLength) + " bytes, not " +
                                         std::to_string(pin.size));
  }
}

WrappedKey wrap_key(const Bytes& master_key, const Bytes& device_key, User user, ByteView pin) {
  constexpr std::size_t kSaltLength = 16;
  const Bytes salt = random_bytes(kSaltLength);
  return {salt, seal(wrapping_key(device_key, salt, user, pin), master_key, std::string(name_of(user)))};
}

Bytes unwrap_key(const WrappedKey& wrapped, const Bytes& device_key, const DeviceFolder& folder, User user,
                 ByteView pin) {
  if (!has_pin_length(pin)) {
    throw Failure(CKR_PIN_INCORRECT, "a PIN has 4 to 64 bytes, not " + std::to_string(pin.size) +
                                         "; this was not counted as a try");
  }
  const Counters counters(folder, F_WRLCK);
  const std::uint8_t wrong = counters.read(user);
  require_unlocked(user, wrong);
  counters.write(user, static_cast<std::uint8_t>(wrong + 1));
  std::optional<Bytes> key;
  try {
    key =
        unseal(wrapping_key(device_key, wrapped.salt, user, pin), wrapped.sealed, std::string(name_of(user)));
  } catch (...) {
    counters.write(user, wrong);  // the PIN was not checked
    throw;
  }
  if (!key) {
    counters.sync();  // before the caller learns that the PIN was wrong
    const int left = kTries - wrong - 1;
    throw Failure(CKR_PIN_INCORRECT, std::string("wrong ") + name_of(user) + " PIN, " + std::to_string(left) +
                                         (left == 1 ? " try left" : " tries left") +
                                         (user == User::kUser ? kResetPin : ""));
  }
  counters.write(user, 0);  // no sync: it would cost each login time
  return *std::move(key);
}

std::uint8_t tries_left(const DeviceFolder& folder, User user) {
  return static_cast<std::uint8_t>(kTries - Counters(folder, F_RDLCK).read(user));
}

void make_counters(const DeviceFolder& folder) { write_private_file(folder.file(kCounterFile), Bytes{0, 0}); }

void clear_tries(const DeviceFolder& folder, User user) {
  const Counters counters(folder, F_WRLCK);
  counters.write(user, 0);
  counters.sync();
}

}  // namespace tee_token
