// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/system_calls.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

namespace test_support {

namespace {

struct Watch {
  std::string folder;
  Interruption interruption;
  std::vector<SystemCall> calls;
};

Watch* g_watch = nullptr;

std::string pathOf(int file) {
  char path[4096];
  const auto length = ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return length < 0 ? "" : std::string(path, static_cast<std::size_t>(length));
}

std::string textOf(const void* data, std::size_t size) { return {static_cast<const char*>(data), size}; }

bool writes(const SystemCall& call) {
  return call.function != "fcntl" && call.function != "read" && call.function != "pread" &&
         (call.function != "open" || call.creates);
}

bool fails(const Interruption& interruption, const SystemCall& call, std::size_t number) {
  switch (interruption.fault) {
    case Fault::kFailure:
      return number == interruption.nth;
    case Fault::kFailures:
      return number >= interruption.nth && call.function != "fcntl";
    case Fault::kReadOnly:
      return writes(call);
    default:
      return false;
  }
}

/// Makes the call, `real`, or what is to happen instead. `torn` writes half.
template <typename Real, typename Torn>
long made(SystemCall call, Real real, Torn torn) {
  if (g_watch == nullptr || call.path.compare(0, g_watch->folder.size(), g_watch->folder) != 0) {
    return real();
  }
  const Interruption& interruption = g_watch->interruption;
  const std::size_t number = g_watch->calls.size() + 1;
  if (number == interruption.nth && interruption.fault == Fault::kTornDeath) torn();
  if (number == interruption.nth && interruption.fault <= Fault::kTornDeath &&
      interruption.fault != Fault::kNone) {
    ::kill(::getpid(), SIGKILL);
  }
  call.failed = fails(interruption, call, number);
  const long result = call.failed ? -1 : real();
  const int error = call.failed ? interruption.error : errno;
  call.failed = result < 0;
  g_watch->calls.push_back(std::move(call));
  errno = error;
  return result;
}

template <typename Real>
long made(SystemCall call, Real real) {
  return made(std::move(call), real, [] {});
}

}  // namespace

void watch_system_calls(const std::string& folder, const Interruption& interruption) {
  stop_watching();
  g_watch = new Watch{folder, interruption, {}};
}

const std::vector<SystemCall>& system_calls() { return g_watch->calls; }

std::vector<SystemCall> stop_watching() {
  Watch* const watch = std::exchange(g_watch, nullptr);
  std::vector<SystemCall> calls;
  if (watch != nullptr) calls = std::move(watch->calls);
  delete watch;
  return calls;
}

namespace {

int opened(const char* path, int flags, mode_t mode) {
  struct stat status {};
  const bool absent = g_watch != nullptr && (flags & O_CREAT) != 0 && ::lstat(path, &status) != 0;
  // What a read-only medium refuses first, and a full one does not.
  const bool for_writing = (flags & O_ACCMODE) != O_RDONLY;
  const bool refused = g_watch != nullptr && g_watch->interruption.fault == Fault::kReadOnly &&
                       g_watch->interruption.error == EROFS && for_writing;
  const long file = made({"open", path, {}, absent || refused},
                         [&] { return ::syscall(SYS_openat, AT_FDCWD, path, flags, mode); });
  if (file >= 0 && (flags & O_TRUNC) != 0 && g_watch != nullptr) made({"ftruncate", path}, [] { return 0; });
  return static_cast<int>(file);
}

int locked(int file, int command, void* argument) {
  const auto real = [&] { return ::syscall(SYS_fcntl, file, command, argument); };
  const bool is_lock = command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK;
  return static_cast<int>(is_lock && g_watch != nullptr ? made({"fcntl", pathOf(file)}, real) : real());
}

ssize_t written(int file, const void* data, std::size_t size, off_t offset) {
  const auto write = [&](std::size_t length) { return ::syscall(SYS_pwrite64, file, data, length, offset); };
  if (g_watch == nullptr) return write(size);
  return made(
      {"pwrite", pathOf(file), {}, false, offset, textOf(data, size)}, [&] { return write(size); },
      [&] { write(size / 2); });
}

int truncated(int file, off_t length) {
  const auto real = [&] { return ::syscall(SYS_ftruncate, file, length); };
  if (g_watch == nullptr) return static_cast<int>(real());
  return static_cast<int>(made({"ftruncate", pathOf(file), {}, false, length}, real));
}

int synced(const char* function, int file, long number) {
  const auto real = [&] { return ::syscall(number, file); };
  return static_cast<int>(g_watch != nullptr ? made({function, pathOf(file)}, real) : real());
}

}  // namespace

}  // namespace test_support

// What libc would define. Those with "64" are the same functions on 64-bit machines.
using namespace test_support;

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return opened(path, flags, mode);
}

int mkostemp(char* pattern, int flags) {
  static int number = 0;
  int file = -1;
  do {
    const std::string digits = std::to_string(1'000'000 + number++ % 1'000'000);
    digits.copy(pattern + std::strlen(pattern) - 6, 6, 1);
    file = opened(pattern, O_RDWR | O_CREAT | O_EXCL | flags, 0600);
  } while (file < 0 && errno == EEXIST);
  return file;
}

int fcntl(int file, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  return locked(file, command, argument);
}

ssize_t read(int file, void* data, std::size_t size) {
  const auto real = [&] { return ::syscall(SYS_read, file, data, size); };
  return g_watch != nullptr ? made({"read", pathOf(file)}, real) : real();
}

ssize_t pread(int file, void* data, std::size_t size, off_t offset) {
  const auto real = [&] { return ::syscall(SYS_pread64, file, data, size, offset); };
  return g_watch != nullptr ? made({"pread", pathOf(file)}, real) : real();
}

ssize_t write(int file, const void* data, std::size_t size) {
  const auto real = [&] { return ::syscall(SYS_write, file, data, size); };
  if (g_watch == nullptr) return real();
  return made({"write", pathOf(file), {}, false, ::lseek(file, 0, SEEK_CUR), textOf(data, size)}, real,
              [&] { ::syscall(SYS_write, file, data, size / 2); });
}

ssize_t pwrite(int file, const void* data, std::size_t size, off_t offset) {
  return written(file, data, size, offset);
}

int ftruncate(int file, off_t length) noexcept { return truncated(file, length); }
int fsync(int file) { return synced("fsync", file, SYS_fsync); }
int fdatasync(int file) { return synced("fdatasync", file, SYS_fdatasync); }

int mkdir(const char* path, mode_t mode) noexcept {
  return static_cast<int>(
      made({"mkdir", path}, [&] { return ::syscall(SYS_mkdirat, AT_FDCWD, path, mode); }));
}

int unlink(const char* path) noexcept {
  return static_cast<int>(made({"unlink", path}, [&] { return ::syscall(SYS_unlinkat, AT_FDCWD, path, 0); }));
}

int rename(const char* path, const char* new_path) noexcept {
  return static_cast<int>(made({"rename", path, new_path}, [&] {
    return ::syscall(SYS_renameat2, AT_FDCWD, path, AT_FDCWD, new_path, 0);
  }));
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int fcntl64(int file, int command, ...) __attribute__((alias("fcntl")));
ssize_t pread64(int file, void* data, std::size_t size, off64_t offset) __attribute__((alias("pread")));
ssize_t pwrite64(int file, const void* data, std::size_t size, off64_t offset)
    __attribute__((alias("pwrite")));
int ftruncate64(int file, off64_t length) noexcept __attribute__((alias("ftruncate")));

}  // extern "C"
