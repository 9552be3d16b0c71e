// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "file_sink.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ara::log::host {

namespace {

int OpenForAppending(const std::string& path) {
  // O_NONBLOCK: a named pipe that nobody reads must not stop the program, neither here nor later.
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  const int descriptor = ::open(path.c_str(), flags, 0600);
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot append to '" + path + "'");
  }
  return descriptor;
}

}  // namespace

FileSink::FileSink(const std::string& path) : TextSink(OpenForAppending(path)) {}

FileSink::~FileSink() { ::close(m_descriptor); }

}  // namespace ara::log::host
