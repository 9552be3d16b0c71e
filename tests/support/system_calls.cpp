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
#include <functional>
#include <optional>
#include <utility>

namespace test_support {

namespace {

struct Watch {
  std::string folder;
  Interruption interruption;
  std::vector<SystemCall> calls;
};

std::optional<Watch> g_watch;

/// Of an open file, while somebody watches.
std::string path_of(int file) {
  if (!g_watch) return "";
  char path[4096];
  const auto length = ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path, sizeof path);
  return length < 0 ? "" : std::string(path, static_cast<std::size_t>(length));
}

/// Makes a call, given by its number and arguments, or does what interferes with it; `tear` writes half
/// of what it writes.
template <typename... Arguments>
int made(const SystemCall& call, const std::function<void()>& tear, long number, Arguments... arguments) {
  const auto real = [&] { return static_cast<int>(::syscall(number, arguments...)); };
  if (!g_watch || call.path.compare(0, g_watch->folder.size(), g_watch->folder) != 0) return real();
  g_watch->calls.push_back(call);
  const auto [fault, nth, error] = g_watch->interruption;
  const std::size_t count = g_watch->calls.size();
  const bool is_full = fault == Fault::kFull && count > nth && call.is_change();
  if (is_full || (fault != Fault::kNone && count == nth)) {
    if (fault == Fault::kTornDeath) tear();
    if (error == 0) ::kill(::getpid(), SIGKILL);
    errno = error;
    return -1;
  }
  const int result = real();
  g_watch->calls.back().failed = result < 0;
  return result;
}

template <typename... Arguments>
int with_file(const char* function, long number, int file, Arguments... arguments) {
  return made({function, path_of(file)}, nullptr, number, file, arguments...);
}

template <typename... Arguments>
int with_path(const char* function, long number, const char* path, Arguments... arguments) {
  return made({function, path}, nullptr, number, AT_FDCWD, path, arguments...);
}

template <typename... Offset>
int written(const char* function, long number, int file, const void* data, std::size_t size,
            Offset... offset) {
  const auto half = [=] { ::syscall(number, file, data, size / 2, offset...); };
  return made({function, path_of(file), file}, half, number, file, data, size, offset...);
}

}  // namespace

bool SystemCall::is_change() const {
  return function != "open" && function != "stat" && function != "read" && function != "pread" &&
         function != "fcntl";
}

void watch_system_calls(const std::string& folder, const Interruption& interruption) {
  g_watch = Watch{folder, interruption, {}};
}

std::vector<SystemCall> stop_watching() { return std::exchange(g_watch, std::nullopt)->calls; }

}  // namespace test_support

// What libc would define. Those with "64" are the same functions on 64-bit machines.
using namespace test_support;

extern "C" {

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  const bool creates = g_watch && (flags & O_CREAT) != 0 && ::access(path, F_OK) != 0;
  return made({creates ? "create" : "open", path}, nullptr, SYS_openat, AT_FDCWD, path, flags, mode);
}

int fcntl(int file, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* const argument = va_arg(rest, void*);
  va_end(rest);
  const bool is_lock = command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK;
  return made({"fcntl", is_lock ? path_of(file) : ""}, nullptr, SYS_fcntl, file, command, argument);
}

ssize_t read(int file, void* data, std::size_t size) { return with_file("read", SYS_read, file, data, size); }
ssize_t pread(int file, void* data, std::size_t size, off_t offset) {
  return with_file("pread", SYS_pread64, file, data, size, offset);
}
ssize_t write(int file, const void* data, std::size_t size) {
  return written("write", SYS_write, file, data, size);
}
ssize_t pwrite(int file, const void* data, std::size_t size, off_t offset) {
  return written("pwrite", SYS_pwrite64, file, data, size, offset);
}
int ftruncate(int file, off_t length) noexcept { return with_file("ftruncate", SYS_ftruncate, file, length); }
int fsync(int file) { return with_file("fsync", SYS_fsync, file); }
int fdatasync(int file) { return with_file("fdatasync", SYS_fdatasync, file); }
int fstatat(int, const char* path, struct stat* status, int flags) noexcept {
  return with_path("stat", SYS_newfstatat, path, status, flags);
}
int stat64(const char* path, struct stat64* status) noexcept {
  return with_path("stat", SYS_newfstatat, path, status, 0);
}
int mkdir(const char* path, mode_t mode) noexcept { return with_path("mkdir", SYS_mkdirat, path, mode); }
int unlink(const char* path) noexcept { return with_path("unlink", SYS_unlinkat, path, 0); }
int rename(const char* path, const char* new_path) noexcept {
  return with_path("rename", SYS_renameat2, path, AT_FDCWD, new_path, 0);
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int fcntl64(int file, int command, ...) __attribute__((alias("fcntl")));
ssize_t pread64(int file, void* data, std::size_t size, off64_t offset) __attribute__((alias("pread")));
ssize_t pwrite64(int file, const void* data, std::size_t size, off64_t offset)
    __attribute__((alias("pwrite")));
int ftruncate64(int file, off64_t length) noexcept __attribute__((alias("ftruncate")));

}  // extern "C"
