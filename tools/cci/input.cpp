// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "failure.h"
#include "shared/shown_text.h"

namespace cci {
namespace {

struct Close {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, Close>;

Failure unreadable(const std::string& path) {
  return Failure(Exit::kInput, "cannot read " + name_of_input(path) + ": " + std::strerror(errno));
}

}  // namespace

std::string name_of_input(const std::string& path) {
  return path == "-" ? "stdin" : shown_text::quoted_if_empty(path);
}

Bytes read_input(const std::string& path) try {
  const File file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
  if (file == nullptr) throw unreadable(path);
  Bytes bytes;
  std::uint8_t part[65536];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, file.get())) > 0;) {
    bytes.insert(bytes.end(), part, part + length);
  }
  if (std::ferror(file.get()) != 0) throw unreadable(path);
  return bytes;
} catch (const std::bad_alloc&) {
  throw Failure(Exit::kInput, "cannot read " + name_of_input(path) + ": it does not fit in memory");
}

}  // namespace cci
