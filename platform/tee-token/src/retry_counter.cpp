#include "retry_counter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "error.h"

namespace tee_token {
namespace {

// One byte a user: the number of wrong tries in a row. A byte is written whole or not at all.
constexpr char kCounters[] = "pin-tries";
constexpr std::size_t kUsers = 2;

FileDescriptor open_counters(const DeviceFolder& folder) {
  return open_private_file(folder.file(kCounters), O_RDWR);
}

// The lock belongs to the open file, not to the process: threads and processes are kept apart alike.
void lock(const FileDescriptor& file) {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  constexpr int kPause = 5'000;  // microseconds
  for (int waited = 0; ::fcntl(file.get(), F_OFD_SETLK, &whole) != 0; waited += kPause) {
    if (waited >= 5'000'000 || (errno != EAGAIN && errno != EACCES && errno != EINTR)) {
      throw Failure(CKR_DEVICE_ERROR, "the PIN counters are held by another process for more than 5 s");
    }
    ::usleep(kPause);
  }
}

std::uint8_t read_wrong(const FileDescriptor& file, User user) {
  std::uint8_t wrong = 0;
  if (::pread(file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
    throw Failure(CKR_DEVICE_ERROR, std::string(kCounters) + " is damaged: it must hold 2 bytes");
  }
  return std::min(wrong, kTries);
}

void write_wrong(const FileDescriptor& file, User user, std::uint8_t wrong) {
  if (::pwrite(file.get(), &wrong, 1, static_cast<off_t>(user)) != 1) {
    throw Failure(CKR_DEVICE_ERROR, std::string("cannot write ") + kCounters + ": " + std::strerror(errno));
  }
}

}  // namespace

std::uint8_t tries_left(const DeviceFolder& folder, User user) {
  const FileDescriptor file = open_private_file(folder.file(kCounters), O_RDONLY);
  return static_cast<std::uint8_t>(kTries - read_wrong(file, user));
}

void reset_tries(const DeviceFolder& folder) { write_private_file(folder.file(kCounters), Bytes(kUsers, 0)); }

void clear_tries(const DeviceFolder& folder, User user) {
  const FileDescriptor file = open_counters(folder);
  lock(file);
  write_wrong(file, user, 0);
  ::fdatasync(file.get());
}

PinTry::PinTry(const DeviceFolder& folder, User user) : m_file(open_counters(folder)), m_user(user) {
  lock(m_file);
  m_wrong = read_wrong(m_file, user);
  if (m_wrong >= kTries) {
    throw Failure(CKR_PIN_LOCKED,
                  std::string("the PIN of the ") + name_of(user) + " is locked after " +
                      std::to_string(kTries) + " wrong tries" +
                      (user == User::kUser ? "; the security officer can set a new one" : ""));
  }
  write_wrong(m_file, user, static_cast<std::uint8_t>(m_wrong + 1));
}

PinTry::~PinTry() {
  if (!m_right) {
    ::fdatasync(m_file.get());
  }
}

void PinTry::was_right() {
  write_wrong(m_file, m_user, 0);
  m_right = true;
}

}  // namespace tee_token
