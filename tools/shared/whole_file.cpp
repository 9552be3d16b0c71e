// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "shared/whole_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "shared/shown_text.h"

namespace tools {
namespace {

struct Close {
  void operator()(std::FILE* file) const {
    if (file != stdin) {
      std::fclose(file);
    }
  }
};
using File = std::unique_ptr<std::FILE, Close>;

std::system_error error(const char* action, const std::string& path) {
  const int number = errno;
  const std::string name = path == "-" ? "stdin" : shown_text::quoted_if_empty(path);
  return std::system_error(number, std::generic_category(), std::string("cannot ") + action + " " + name);
}

/// Writes the bytes to disk, or to a device or pipe, which cannot be synced. `mode` is that of std::fopen.
bool write(const std::string& path, const char* mode, const std::string& bytes) {
  const File file(std::fopen(path.c_str(), mode));
  return file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         std::fflush(file.get()) == 0 && (::fsync(::fileno(file.get())) == 0 || errno == EINVAL);
}

}  // namespace

std::string read_file(const std::string& path) {
  const File file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    throw error("read", path);
  }
  std::string bytes;
  char part[65536];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, file.get())) > 0;) {
    bytes.append(part, length);
  }
  if (std::ferror(file.get()) != 0) {
    throw error("read", path);
  }
  return bytes;
}

void write_file(const std::string& path, const std::string& bytes) {
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    if (!write(path, "wb", bytes)) {
      throw error("write", path);
    }
    return;
  }
  const std::string temporary = path + "." + std::to_string(::getpid()) + ".tmp";
  if (!write(temporary, "wbx", bytes) || ::rename(temporary.c_str(), path.c_str()) != 0) {
    const std::system_error failure = error("write", path);
    ::unlink(temporary.c_str());
    throw failure;
  }
}

}  // namespace tools
