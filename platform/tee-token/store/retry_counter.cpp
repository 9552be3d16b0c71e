// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "store/retry_counter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/error.h"

namespace tee_token {
namespace {

// Locks belong to the open file, not to the process: threads and processes are kept apart alike. A child that
// was forked meanwhile shares the open file, so closing it here would not be enough to unlock.
bool set_lock(const FileDescriptor& file, short type) {
  struct flock whole {};
  whole.l_type = type;
  whole.l_whence = SEEK_SET;
  return ::fcntl(file.get(), F_OFD_SETLK, &whole) == 0;
}

void lock(const FileDescriptor& file, short type) {
  constexpr int kPause = 5'000;  // microseconds
  for (int waited = 0; !set_lock(file, type); waited += kPause) {
    if (errno != EAGAIN && errno != EACCES && errno != EINTR) {
      fail_with_errno("lock", kCounterFile);
    }
    if (waited >= 5'000'000) {
      throw Failure(CKR_DEVICE_ERROR,
                    "the PIN counters are held by another process for more than 5 s; try again");
    }
    ::usleep(kPause);
  }
}

// The number of wrong tries in a row. A byte is written whole or not at all.
std::uint8_t read_wrong(const FileDescriptor& file, User user) {
  std::uint8_t wrong = 0;
  if (::pread(file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
    throw Failure(
        CKR_DEVICE_ERROR,
        std::string(kCounterFile) + " is damaged: it must hold at least 2 bytes; write two zero bytes in it");
  }
  return std::min(wrong, kTries);
}

void write_wrong(const FileDescriptor& file, User user, std::uint8_t wrong) {
  if (::pwrite(file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
    fail_with_errno("write", kCounterFile);
  }
}

void sync(const FileDescriptor& file) {
  if (::fdatasync(file.get()) != 0) {
    fail_with_errno("sync", kCounterFile);
  }
}

}  // namespace

std::uint8_t tries_left(const DeviceFolder& folder, User user) {
  const FileDescriptor file = open_private_file(folder.file(kCounterFile), O_RDONLY);
  lock(file, F_RDLCK);
  const std::uint8_t wrong = read_wrong(file, user);
  set_lock(file, F_UNLCK);
  return static_cast<std::uint8_t>(kTries - wrong);
}

void make_counters(const DeviceFolder& folder, std::uint8_t store_version) {
  write_private_file(folder.file(kCounterFile), Bytes{0, 0, store_version});
}

void clear_tries(const DeviceFolder& folder, User user) {
  const FileDescriptor file = open_private_file(folder.file(kCounterFile), O_RDWR);
  lock(file, F_WRLCK);
  write_wrong(file, user, 0);
  sync(file);
  set_lock(file, F_UNLCK);
}

PinTry::PinTry(const DeviceFolder& folder, User user)
    : m_file(open_private_file(folder.file(kCounterFile), O_RDWR)), m_user(user) {
  lock(m_file, F_WRLCK);
  m_wrong = read_wrong(m_file, user);
  if (m_wrong >= kTries) {
    throw Failure(CKR_PIN_LOCKED,
                  std::string("the PIN of the ") + name_of(user) + " is locked after " +
                      std::to_string(kTries) + " wrong tries" +
                      (user == User::kUser ? "; the security officer sets a new one: tee-token reset-pin"
                                           : "; only a new token in an empty folder helps"));
  }
  write_wrong(m_file, user, static_cast<std::uint8_t>(m_wrong + 1));
}

PinTry::~PinTry() { set_lock(m_file, F_UNLCK); }

void PinTry::was_right() { write_wrong(m_file, m_user, 0); }

void PinTry::was_wrong() { sync(m_file); }

}  // namespace tee_token
