// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "descriptor.h"
#include "failure.h"
#include "shared/shown_text.h"

namespace cci {
namespace {

namespace fs = std::filesystem;

Failure not_written(const std::string& name) {
  return Failure(Exit::kNotDone,
                 "cannot write " + shown_text::quoted_if_empty(name) + ": " + std::strerror(errno));
}

/// Whether writing may go on after a failure. Another program may have set a stdout that it shares not to
/// block.
bool can_go_on(int file) {
  pollfd room = {file, POLLOUT, 0};
  return errno == EINTR || (errno == EAGAIN && (::poll(&room, 1, -1) > 0 || errno == EINTR));
}

void write_all(int file, const std::string& bytes, const std::string& name) {
  for (std::size_t written = 0; written < bytes.size();) {
    const ssize_t count = ::write(file, bytes.data() + written, bytes.size() - written);
    if (count < 0 && !can_go_on(file)) throw not_written(name);
    written += static_cast<std::size_t>(count < 0 ? 0 : count);
  }
}

mode_t mode_of(const std::string& path) {
  struct stat there = {};
  if (::stat(path.c_str(), &there) == 0) return there.st_mode & 07777;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

/// A new file beside the one that it becomes. It is gone when it has not.
class Draft {
 public:
  explicit Draft(std::string path) : m_path(std::move(path)), m_name(m_path + ".XXXXXX") {
    m_file = Descriptor(::mkostemp(m_name.data(), O_CLOEXEC));
    if (!m_file.is_open()) throw not_written(m_path);
  }
  ~Draft() {
    if (!m_name.empty()) ::unlink(m_name.c_str());
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  void fill(const std::string& bytes) {
    write_all(m_file.get(), bytes, m_path);
    // Else a loss of power could leave an empty file under the name.
    if (::fchmod(m_file.get(), mode_of(m_path)) != 0 || ::fsync(m_file.get()) != 0) throw not_written(m_path);
  }
  void become_the_file() {
    if (::rename(m_name.c_str(), m_path.c_str()) != 0) throw not_written(m_path);
    m_name.clear();
  }

 private:
  std::string m_path, m_name;
  Descriptor m_file;
};

void write_directly(const std::string& path, const std::string& bytes) {
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (!file.is_open()) throw not_written(path);
  write_all(file.get(), bytes, path);
}

void write_file(const std::string& path, const std::string& bytes) {
  std::error_code unknown;
  const fs::file_status there = fs::status(path, unknown);
  if (fs::exists(there) && !fs::is_regular_file(there)) return write_directly(path, bytes);
  if (!fs::exists(there) && fs::is_symlink(fs::symlink_status(path, unknown))) {
    errno = ENOENT;
    throw not_written(path);
  }
  // A link stays one, and what it leads to is exchanged.
  Draft draft(fs::exists(there) ? fs::canonical(path).string() : path);
  draft.fill(bytes);
  draft.become_the_file();
}

}  // namespace

void write_output(const std::optional<std::string>& file, const std::string& bytes) {
  if (file) {
    write_file(*file, bytes);
  } else {
    write_all(STDOUT_FILENO, bytes, "to stdout");
  }
}

void require_no_terminal() {
  if (::isatty(STDOUT_FILENO) == 1) {
    throw Failure(Exit::kUsage, "binary data does not go to a terminal; use -o FILE or a text form");
  }
}

}  // namespace cci
